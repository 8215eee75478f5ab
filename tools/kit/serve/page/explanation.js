// Why a message is rated as it is: the step that decided, and the tokens with their weights in the text.
import {counted, drawn, element} from "./elements.js";
import {foreign, shown} from "./foreign.js";
import {reasonSentence, share, stepWord, verdictTag} from "./words.js";

const spamFrom = 0.9;
const hamBelow = 0.45;

// ---- Tokens in the text

// The places in the text of the units that the filter leaves. `dropped` is the text with what goes in square brackets;
// brackets of the text itself always go.
function keptPlaces(text, dropped) {
  const places = [];
  let at = 0;
  let isDropping = false;
  for (let place = 0; place < text.length && at < dropped.length; ++place, ++at) {
    if (!isDropping && dropped[at] === "[") {
      isDropping = true;
      ++at;
    } else if (isDropping && dropped[at] === "]" && text[place] !== "]") {
      isDropping = false;
      ++at;
      if (dropped[at] === "[") {
        isDropping = true;
        ++at;
      }
    }
    if (!isDropping) {
      places.push(place);
    }
  }
  return places;
}

function leaning(token) {
  if (token.probability === null || !token.counted) {
    return {side: "none", weight: 0};
  }
  const distance = Math.abs(token.probability - 0.5) * 2;
  const weight = distance > 0.9 ? 3 : distance > 0.6 ? 2 : 1;
  return {side: token.probability > 0.5 ? "spam" : "ham", weight};
}

function weightText(token) {
  const counts =
      `in ${counted(token.spam, "spam message", "spam messages")} and ${counted(token.ham, "other", "others")}`;
  return token.counted ? `${share(token.probability)}, ${counts}` : `not counted, ${counts}`;
}

function markedText(explanation) {
  const text = explanation.prepared ?? explanation.message;
  const places = keptPlaces(text, explanation.dropped);
  const kept = new Set(places);
  const box = element("p", {class: "text read", dir: "auto"});
  let done = 0;
  const pass = (end) => {
    for (; done < end;) {
      const isKept = kept.has(done);
      let stop = done;
      while (stop < end && kept.has(stop) === isKept) {
        ++stop;
      }
      const part = shown(text.slice(done, stop), false);
      box.append(...(isKept ? part : [element("span", {class: "unread"}, part)]));
      done = stop;
    }
  };
  for (const token of [...explanation.tokens].sort((a, b) => a.position - b.position)) {
    const first = places[token.position - 1];
    const last = places[token.position - 1 + token.token.length - 1];
    if (first === undefined || last === undefined || first < done) {
      continue;
    }
    pass(first);
    const {side, weight} = leaning(token);
    box.append(element(
        "mark", {class: `${side} w${weight}`, title: weightText(token)}, shown(text.slice(first, last + 1), false)));
    done = last + 1;
  }
  pass(text.length);
  return box;
}

function tokenRow(token) {
  const {side, weight} = leaning(token);
  const leans = side === "none" ? "neither" : side === "spam" ? "spam" : "not spam";
  return element(
      "tr", {}, element("th", {scope: "row"}, element("mark", {class: `${side} w${weight}`}, foreign(token.token))),
      element("td", {}, leans), element("td", {class: "figure"}, token.counted ? share(token.probability) : "–"),
      element("td", {class: "figure"}, token.spam.toLocaleString()),
      element("td", {class: "figure"}, token.ham.toLocaleString()));
}

function tokenTable(tokens) {
  const strength = (token) => (token.counted && token.probability !== null ? Math.abs(token.probability - 0.5) : -1);
  const sorted = [...tokens].sort((a, b) => strength(b) - strength(a));
  return element(
      "table", {class: "tokens"}, element("caption", {}, "The pieces that the store knows, the heaviest first"),
      element(
          "thead", {},
          element(
              "tr", {}, element("th", {scope: "col"}, "Piece"), element("th", {scope: "col"}, "Leans to"),
              element("th", {scope: "col", class: "figure"}, "Weight"),
              element("th", {scope: "col", class: "figure"}, "In spam"),
              element("th", {scope: "col", class: "figure"}, "In others"))),
      element("tbody", {}, sorted.map(tokenRow)));
}

// ---- The score

function scale(spamicity) {
  const width = 300;
  const line = 14;
  const part = (from, to, name) =>
      drawn("rect", {x: from * width, y: line, width: (to - from) * width, height: 8, class: `part ${name}`});
  const at = Math.min(Math.max(spamicity, 0), 1) * width;
  return drawn(
      "svg", {
        viewBox: `-8 0 ${width + 16} 44`,
        class: "scale",
        role: "img",
        "aria-label": `Spamicity ${share(spamicity)}, of 0 to 1`
      },
      part(0, hamBelow, "ham"), part(hamBelow, spamFrom, "unsure"), part(spamFrom, 1, "spam"),
      drawn("path", {d: `M${at - 6} 2 h12 l-6 11 z`, class: "pointer"}),
      drawn("text", {x: hamBelow * width / 2, y: 38, "text-anchor": "middle"}, "not spam"),
      drawn("text", {x: (hamBelow + spamFrom) * width / 2, y: 38, "text-anchor": "middle"}, "unsure"),
      drawn("text", {x: width, y: 38, "text-anchor": "end"}, "spam"));
}

// ---- All of it

export function explanationParts(explanation) {
  const parts = [
    element(
        "p", {class: "decided"}, verdictTag(explanation.rating), " ",
        element("strong", {id: "step"}, `${stepWord(explanation.reason)}: `), reasonSentence(explanation.reason)),
  ];
  if (explanation.entry !== null) {
    parts.push(element(
        "p", {}, "The entry is ", foreign(explanation.entry.number), explanation.entry.name === "" ? "" : ", ",
        explanation.entry.name === "" ? "" : foreign(explanation.entry.name), "."));
  }
  if (explanation.spamicity !== null) {
    parts.push(element(
        "figure", {}, scale(explanation.spamicity),
        element(
            "figcaption", {},
            `Spamicity ${share(explanation.spamicity)}, of ${
                counted(explanation.counted ?? 0, "piece", "pieces")} that count`)));
  }
  parts.push(element("h3", {}, "As it is read"), markedText(explanation));
  if (explanation.tokens.length > 0) {
    parts.push(
        element(
            "p", {class: "legend"}, element("mark", {class: "spam w3"}, "leans to spam"), " ",
            element("mark", {class: "ham w3"}, "leans away"), " ",
            element("mark", {class: "none w0"}, "known, not counted"), " ",
            element("span", {class: "unread"}, "not read")),
        tokenTable(explanation.tokens));
  } else {
    parts.push(element("p", {class: "note"}, "The store knows no piece of this text."));
  }
  return parts;
}
