// A pasted message and its explanation; nothing is learned or kept.
import {ask} from "./api.js";
import {attempt, element, say} from "./elements.js";
import {explanationParts} from "./explanation.js";
import {foreign} from "./foreign.js";

// As the user left them.
const typed = {
  body: "",
  number: ""
};

export function explainView(room) {
  const result = element("section", {id: "explanation", "aria-label": "Explanation"});
  const place = element("div");
  const submit = element("button", {type: "submit", class: "main"}, "Explain");
  const body = element(
      "textarea", {
        id: "body",
        rows: 5,
        required: true,
        dir: "auto",
        spellcheck: "false",
        oninput: (event) => {
          typed.body = event.target.value;
        }
      },
      typed.body);
  const number = element("input", {
    id: "number",
    type: "text",
    value: typed.number,
    autocomplete: "off",
    spellcheck: "false",
    oninput: (event) => {
      typed.number = event.target.value;
    }
  });

  const explain = async (event) => {
    event.preventDefault();
    result.replaceChildren();
    await attempt(place, [submit], async () => {
      const explanation = await ask("v1/explain", {body: body.value, number: number.value});
      result.replaceChildren(
          element("h2", {}, "The message"), foreign(explanation.message, {class: "text"}, "p"),
          element("h2", {}, "Why"), ...explanationParts(explanation));
      say("Explained");
    });
  };

  room.append(
      element("h1", {}, "Explain a message"),
      element("p", {class: "quiet"}, "Nothing is learned from it, and it is not kept."),
      element("form", {class: "fields", onsubmit: explain}, element("label", { for: "body"
              }, "Text"), body, element("label", { for: "number"
              }, "Sender, if you know it"), number, submit), place, result);
}
