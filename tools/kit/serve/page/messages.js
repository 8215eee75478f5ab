// The journal: what was held back, the newest first, with filters and a search.
import {read} from "./api.js";
import {button, element, say, timeOf} from "./elements.js";
import {foreign, sender} from "./foreign.js";
import {stepWord, verdictTag, verdictWord} from "./words.js";

const atOnce = 25;
// As the user left them, when coming back from a message.
const chosen = {
  rating: "spam",
  corrected: "",
  search: ""
};
const left = {
  shown: 0,
  opened: null
};
const ratings = [["spam", "Held back"], ["unsure", "Unsure"], ["ham", "Let through"], ["", "All"]];

function row(message) {
  const words = [verdictTag(message.rating), " ", element("span", {class: "quiet"}, stepWord(message.reason))];
  if (message.correction !== null) {
    words.push(" ", element("span", {class: "tag said"}, `you said: ${verdictWord(message.correction)}`));
  }
  if (message.sender !== null) {
    words.push(" ", element("span", {class: "tag said"}, `sender ${message.sender}`));
  }
  return element(
      "li", {},
      element(
          "a", {href: `#/message/${message.message}`, class: "message"},
          element("span", {class: "line"}, sender(message.number), timeOf(message.time)),
          foreign(message.body, {class: "excerpt"}, "span"), element("span", {class: "words"}, words)));
}

function ratingChoice(changed) {
  return element(
      "fieldset", {class: "choice"}, element("legend", {}, "Which messages"),
      ratings.map(
          ([value, label]) => element(
              "label", {}, element("input", {
                type: "radio",
                name: "rating",
                value,
                checked: chosen.rating === value,
                onchange: () => {
                  chosen.rating = value;
                  changed();
                },
              }),
              element("span", {}, label))));
}

function correctedChoice(changed) {
  const options = [["", "corrected or not"], ["true", "corrected"], ["false", "not corrected"]];
  return element(
      "select", {
        id: "corrected",
        "aria-label": "Corrections",
        onchange: (event) => {
          chosen.corrected = event.target.value;
          changed();
        }
      },
      options.map(([value, label]) => element("option", {value, selected: chosen.corrected === value}, label)));
}

function searchForm(changed) {
  const field = element("input", {
    type: "search",
    id: "search",
    value: chosen.search,
    placeholder: "Search text and number",
    "aria-label": "Search text and number",
    autocomplete: "off",
    spellcheck: "false"
  });
  const submit = (event) => {
    event.preventDefault();
    chosen.search = field.value;
    changed();
  };
  // The cross in the field empties it.
  field.addEventListener("search", () => {
    if (field.value !== chosen.search) {
      chosen.search = field.value;
      changed();
    }
  });
  return element(
      "form", {class: "search", role: "search", onsubmit: submit}, field,
      element("button", {type: "submit"}, "Search"));
}

export async function messagesView(room) {
  const list = element("ul", {
    class: "messages",
    id: "messages",
    onclick: (event) => {
      left.opened = event.target.closest("a")?.getAttribute("href");
    },
  });
  const end = element("p", {class: "end"});
  let running = new AbortController();
  let before = "";

  // A page of a search may come empty although there is more.
  async function readOn(before, wanted, signal) {
    const found = [];
    let next = before;
    do {
      const page = await read("v1/journal", {...chosen, before: next, limit: atOnce}, signal);
      found.push(...page.messages);
      next = page.next;
    } while (next !== null && found.length < wanted);
    return {found, next};
  }

  function showEnd(next) {
    const nothing = list.children.length === 0;
    const older = button("Show older", async () => {
      older.disabled = true;
      const {found, next: further} = await readOn(next, 1, running.signal);
      list.append(...found.map(row));
      left.shown = list.children.length;
      showEnd(further);
      list.children[list.children.length - found.length]?.querySelector("a").focus();
    }, {id: "older"});
    end.replaceChildren(next !== null ? older : nothing ? "There is nothing here." : "");
  }

  async function load() {
    running.abort();
    running = new AbortController();
    const {signal} = running;
    room.setAttribute("aria-busy", "true");
    try {
      // What was shown stays shown, so that coming back to a tab moves nothing.
      const {found, next} = await readOn(null, Math.max(1, left.shown), signal);
      if (JSON.stringify(found) !== before || list.children.length === 0) {
        before = JSON.stringify(found);
        list.replaceChildren(...found.map(row));
        left.shown = found.length;
        showEnd(next);
      }
      room.setAttribute("aria-busy", "false");
    } catch (error) {
      if (error.name !== "AbortError") {
        throw error;
      }
    }
  }

  async function chooseAnew() {
    list.replaceChildren();
    end.replaceChildren("Looking …");
    left.shown = 0;
    await load();
    say(list.children.length === 0 ? "No messages" : `${list.children.length} messages shown`);
  }

  room.append(
      element("div", {class: "top"}, element("h1", {}, "Messages"), button("Refresh", load, {id: "refresh"})),
      element("div", {class: "tools"}, ratingChoice(chooseAnew), correctedChoice(chooseAnew), searchForm(chooseAnew)),
      list, end);
  await load();
  [...list.querySelectorAll("a")].find((link) => link.getAttribute("href") === left.opened)?.focus();
  left.opened = null;
  return load;
}
