// Which view is shown, and asking for the token.
import {forgetToken, keepToken, onChange, onRefused, Problem, token} from "./api.js";
import {button, element, problemNote, say} from "./elements.js";
import {explainView} from "./explain.js";
import {listsView} from "./lists.js";
import {messageView} from "./message.js";
import {messagesView} from "./messages.js";
import {weeksView} from "./weeks.js";

// Each fills the element that it is given, and returns what brings it up to date, if it can be.
const views = [
  {path: /^\/messages$/, name: "Messages", show: messagesView},
  {path: /^\/message\/(\d+)$/, name: "Message", nav: "Messages", show: messageView},
  {path: /^\/lists$/, name: "Lists", show: listsView},
  {path: /^\/weeks$/, name: "Weeks", show: weeksView},
  {path: /^\/explain$/, name: "Explain", show: explainView},
];

const main = document.getElementById("main");
const forget = document.getElementById("forget");
let turn = 0;
let refresh = null;

function tokenForm(wasWrong) {
  const field =
      element("input", {type: "password", id: "token", autocomplete: "off", required: true, spellcheck: "false"});
  const submit = (event) => {
    event.preventDefault();
    keepToken(field.value.trim());
    show();
  };
  main.replaceChildren(
      element("h1", {}, "Token"),
      element(
          "p", {},
          "This service answers only those who know its token: the first line of the file that it was started with. " +
              "It is kept until this tab is closed."),
      wasWrong ? element("p", {class: "note problem", role: "alert"}, "That is not the token.") : "",
      element("form", {class: "fields", onsubmit: submit}, element("label", { for: "token"
              }, "Token"), field, element("button", {type: "submit", class: "main"}, "Open")));
  field.focus();
}

function noJournal() {
  main.replaceChildren(
      element("h1", {}, "No journal"),
      element(
          "p", {class: "note", id: "no-journal"},
          "This service keeps no messages. Started with --journal FILE, it keeps each message that it rates, " +
              "and this page shows them."),
      element(
          "p", {}, "You can still edit the ", element("a", {href: "#/lists"}, "lists"), " and have a message ",
          element("a", {href: "#/explain"}, "explained"), "."));
}

function failed(error) {
  if (error.name === "AbortError" || error.status === 401) {
    return;  // asked for by another view, or answered by the token's form
  }
  if (!(error instanceof Problem)) {
    throw error;
  }
  if (error.status === 404 && error.message.includes("--journal")) {
    noJournal();
    return;
  }
  main.replaceChildren(element("h1", {}, "That did not work"), problemNote(error), button("Try again", () => show()));
}

async function show() {
  const mine = ++turn;
  const path = location.hash.replace(/^#/, "") || "/messages";
  const view = views.find((one) => one.path.test(path)) ?? views[0];
  const name = view.nav ?? view.name;
  for (const link of document.querySelectorAll("nav a")) {
    if (link.textContent === name) {
      link.setAttribute("aria-current", "page");
    } else {
      link.removeAttribute("aria-current");
    }
  }
  document.title = `${view.name} – velq`;
  forget.hidden = token() === null;
  say("");
  refresh = null;
  const room = element("div", {class: "view"});
  main.replaceChildren(room);
  main.setAttribute("aria-busy", "true");
  try {
    const again = await view.show(room, ...(path.match(view.path) ?? []).slice(1));
    if (mine === turn) {
      refresh = again ?? null;
    }
  } catch (error) {
    if (mine !== turn) {
      return;
    }
    failed(error);
  } finally {
    if (mine === turn) {
      main.setAttribute("aria-busy", "false");
    }
  }
}

async function bringUpToDate() {
  if (refresh !== null) {
    try {
      await refresh();
    } catch (error) {
      failed(error);
    }
  }
}

forget.addEventListener("click", () => {
  forgetToken();
  show();
});
document.getElementById("skip").addEventListener("click", (event) => {
  event.preventDefault();  // the address says which view is shown
  main.focus();
});
window.addEventListener("hashchange", () => {
  show();
  main.focus();
  window.scrollTo(0, 0);
});
document.addEventListener("visibilitychange", () => {
  if (document.visibilityState === "visible") {
    bringUpToDate();
  }
});
onChange(bringUpToDate);
window.addEventListener("unhandledrejection", (event) => {
  if (event.reason instanceof Problem || event.reason?.name === "AbortError") {
    event.preventDefault();
    failed(event.reason);
  }
});
onRefused((wasWrong) => {
  ++turn;
  refresh = null;
  forget.hidden = true;
  main.setAttribute("aria-busy", "false");
  tokenForm(wasWrong);
});
show();
