// What the service's words mean to people.
import {element} from "./elements.js";

const verdicts = {
  spam: "spam",
  ham: "not spam",
  unsure: "unsure"
};

const reasons = {
  "black-list": "The sender is on the black list.",
  operator: "The number begins as the operator's does.",
  "white-list": "The sender is on the white list.",
  length: "So little of the text can be read that it is let through.",
  "few-tokens": "Too few pieces of the text are known.",
  classifier: "The classifier decided by the pieces of the text that it knows.",
  "digit-run": "The classifier was unsure; the long run of digits decided.",
  "short-text": "The classifier was unsure; a text as short as this is let through.",
  unexplained: "The files changed while it was rated, so what decided is not known.",
};

const steps = {
  "black-list": "black list",
  operator: "operator rule",
  "white-list": "white list",
  length: "length",
  "few-tokens": "few tokens",
  classifier: "classifier",
  "digit-run": "run of digits",
  "short-text": "short text",
  unexplained: "unexplained",
};

export function verdictWord(rating) {
  return verdicts[rating] ?? rating;
}

export function reasonSentence(reason) {
  return reasons[reason] ?? reason;
}

export function stepWord(reason) {
  return steps[reason] ?? reason;
}

export function verdictTag(rating) {
  return element("span", {class: `tag ${rating}`}, verdictWord(rating));
}

// Two places behind the point, but never a certainty that is none.
export function share(value) {
  if (value === null) {
    return "–";
  }
  if (value > 0.995 && value < 1) {
    return "> 0.99";
  }
  return value < 0.005 && value > 0 ? "< 0.01" : value.toFixed(2);
}
