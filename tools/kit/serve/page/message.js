// One message: what it is, what can be said of it and of its sender, and why it was rated so.
import {change, read} from "./api.js";
import {attempt, button, element, say, timeOf} from "./elements.js";
import {explanationParts} from "./explanation.js";
import {foreign, isDisguised, sender} from "./foreign.js";
import {reasonSentence, stepWord, verdictTag, verdictWord} from "./words.js";

const sources = {
  rate: "asked to be rated",
  kannel: "from Kannel",
  json: "from a gateway"
};

// Two buttons of which one may have been pressed, and what takes that back.
function decision({label, options, decided, done, act, undo}) {
  const place = element("div");
  const buttons = options.map(
      ({value, text}) => button(
          text, () => run(() => act(value), "undo"), {"aria-pressed": String(decided === value), "data-value": value}));
  const undoButton = button("Undo", () => run(undo, decided), {class: "undo", "data-value": "undo"});
  const all = [...buttons, undoButton];
  const group = element(
      "div", {class: "decision", role: "group", "aria-label": label}, element("div", {class: "buttons"}, buttons),
      decided === null ? "" : element("p", {class: "done"}, done, " ", undoButton), place);

  async function run(work, next) {
    if (await attempt(place, all, work)) {
      // The buttons are made anew; the keyboard goes on where it was.
      document.querySelector(`[role=group][aria-label="${label}"] [data-value="${next}"]`)?.focus();
    }
    settle();
  }
  // What was said already is not said again.
  function settle() {
    buttons.forEach((one) => {
      one.disabled = one.dataset.value === decided;
    });
  }
  settle();
  return group;
}

export async function messageView(room, id) {
  const path = `v1/journal/${id}`;

  async function after(work, told) {
    await work;
    await load();
    say(told);
  }

  function correction(message) {
    return decision({
      label: "The message",
      options: [{value: "ham", text: "not spam"}, {value: "spam", text: "spam"}],
      decided: message.correction,
      done: `You said: ${verdictWord(message.correction)}.`,
      act: (as) => after(change("v1/mark", {as, message: message.message}), `Marked as ${verdictWord(as)}`),
      undo: () => after(change("v1/mark", {undo: true, message: message.message}), "The correction is taken back"),
    });
  }

  function senderDecision(message) {
    if (message.number === "") {
      return element(
          "p", {class: "note"}, "The message came without a sender, so there is nobody to block or to allow.");
    }
    return decision({
      label: "The sender",
      options: [{value: "blocked", text: "block sender"}, {value: "allowed", text: "allow sender"}],
      decided: message.sender,
      done: message.sender === "blocked" ? "The sender is on the black list." : "The sender is on the white list.",
      act: (as) => after(change("v1/sender", {as, message: message.message}), `Sender ${as}`),
      undo: () => after(change("v1/sender", {undo: true, message: message.message}), "The lists are as they were"),
    });
  }

  function parts(message) {
    const {explanation} = message;
    const now = explanation.rating === message.rating && explanation.reason === message.reason ?
        "" :
        element(
            "p", {class: "then"}, "When it came: ", verdictTag(message.rating), " ",
            element("strong", {}, `${stepWord(message.reason)}: `), reasonSentence(message.reason));
    return [
      element("p", {class: "back"}, element("a", {href: "#/messages"}, "← Messages")),
      element("h1", {}, sender(message.number)),
      element(
          "p", {class: "quiet"}, timeOf(message.time),
          ` · ${sources[message.source] ?? message.source} · message ${message.message}`),
      foreign(message.body, {class: "text", id: "text"}, "p"),
      isDisguised(message.body) || isDisguised(message.number) ?
          element(
              "p", {class: "note", id: "disguised"},
              "It holds letters that look like others, or characters that are not seen: they are underlined, " +
                  "or stand as their codes.") :
          "",
      element("div", {class: "decisions"}, correction(message), senderDecision(message)),
      element("h2", {}, now === "" ? "Why" : "Why, as things stand now"),
      ...explanationParts(explanation),
      now,
    ];
  }

  // What is as it was stays untouched, with what is selected in it.
  let before = "";
  async function load() {
    const message = await read(path);
    if (JSON.stringify(message) !== before) {
      before = JSON.stringify(message);
      room.replaceChildren(...parts(message));
    }
  }
  await load();
  return load;
}
