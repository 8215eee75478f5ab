// The black and the white list: entries, a new one, import and export.
import {change, read, readText, remove, upload} from "./api.js";
import {attempt, button, counted, element, say} from "./elements.js";
import {foreign} from "./foreign.js";

const atOnce = 100;

function saveAs(name, text) {
  const address = URL.createObjectURL(new Blob([text], {type: "text/csv"}));
  element("a", {href: address, download: name}).click();
  URL.revokeObjectURL(address);
}

// One list. `both` brings both up to date, for a number that goes onto one leaves the other.
function listPart({name, title, means}, both) {
  const path = `v1/lists/${name}`;
  const place = element("div", {class: "told", role: "status"});
  const rows = element("ul", {class: "entries"});
  const end = element("p", {class: "end"});
  const count = element("span", {class: "count"});
  let entries = 0;
  let before = "";

  function told(...children) {
    place.replaceChildren(element("p", {class: "note"}, children));
  }

  function row(entry) {
    const away = button("Remove", () => attempt(place, [away], async () => {
                                    await remove(`${path}?uid=${entry.uid}`);
                                    await both();
                                    const back = button(
                                        "Put back", () => attempt(place, [back], async () => {
                                                      const {number, name: named, hidden, extendID} = entry;
                                                      await change(path, {number, name: named, hidden, extendID});
                                                      await both();
                                                      told(foreign(number), " is on the list again.");
                                                    }));
                                    told(foreign(entry.number), " was removed. ", back);
                                    back.focus();
                                  }), {"aria-label": `Remove ${entry.number.replace(/[^\x21-\x7e]/g, "?")}`});
    return element(
        "li", {},
        element("span", {}, foreign(entry.number, {class: "number"}), " ", foreign(entry.name, {class: "quiet"})),
        away);
  }

  async function readOn(after) {
    const page = await read(path, {after, limit: atOnce});
    count.textContent = counted(page.count, "entry", "entries");
    return page;
  }

  function showEnd(next) {
    const more = button("Show more", async () => {
      more.disabled = true;
      const page = await readOn(next);
      rows.append(...page.entries.map(row));
      entries = rows.children.length;
      showEnd(page.next);
    });
    end.replaceChildren(next !== null ? more : entries === 0 ? "The list is empty." : "");
  }

  async function load() {
    const found = [];
    const wanted = Math.max(1, entries);
    let next = null;
    do {
      const page = await readOn(next);
      found.push(...page.entries);
      next = page.next;
    } while (next !== null && found.length < wanted);
    const now = JSON.stringify([found, next]);
    if (now !== before) {
      before = now;
      rows.replaceChildren(...found.map(row));
      entries = found.length;
      showEnd(next);
    }
  }

  const number =
      element("input", {id: `${name}-number`, type: "text", required: true, autocomplete: "off", spellcheck: "false"});
  const named = element("input", {id: `${name}-name`, type: "text", autocomplete: "off"});
  const submit = element("button", {type: "submit"}, "Add");
  const add = async (event) => {
    event.preventDefault();
    await attempt(place, [submit], async () => {
      const typed = number.value.trim();
      const answer = await change(path, {number: typed, name: named.value});
      await both();
      told(foreign(typed), answer.added > 0 ? " was added." : " was there already.");
      number.value = "";
      named.value = "";
      number.focus();
    });
  };

  const file =
      element("input", {type: "file", id: `${name}-import`, accept: ".csv,.txt,.vcf,text/csv,text/plain,text/vcard"});
  const importButton = button("Import", () => {
    if (file.files.length === 0) {
      told("Choose a file first: CSV with the column number, and name, hidden, extendID if you like.");
      file.focus();
      return;
    }
    attempt(place, [importButton], async () => {
      const answer = await upload(path, file.files[0], "text/csv");
      await both();
      file.value = "";
      told(`${counted(answer.rows, "number", "numbers")} read, ${answer.added.toLocaleString()} added.`);
    });
  }, {id: `${name}-import-button`});
  const exportButton = button("Export", () => attempt(place, [exportButton], async () => {
                                          saveAs(`${name}-list.csv`, await readText(`${path}?format=csv`));
                                          say("The list was saved");
                                        }), {id: `${name}-export`});

  const part = element(
      "section", {id: name, "aria-labelledby": `${name}-title`},
      element("h2", {id: `${name}-title`}, title, " ", count), element("p", {class: "quiet"}, means),
      element(
          "form", {class: "add", onsubmit: add},
          element(
              "span", {},
              element(
                  "label",
                  { for: number.id
                  },
                  "Number"),
              number),
          element(
              "span", {},
              element(
                  "label",
                  { for: named.id
                  },
                  "Name"),
              named),
          submit),
      place, rows, end, element("div", {class: "files"}, element("label", { for: file.id
                                }, "Import a file"), file, importButton, exportButton));
  return {part, load};
}

export async function listsView(room) {
  const lists = [];
  const both = () => Promise.all(lists.map((list) => list.load()));
  lists.push(
      listPart({name: "black", title: "Black list", means: "Messages from these numbers are spam."}, both),
      listPart({name: "white", title: "White list", means: "Messages from these numbers are let through."}, both));
  room.append(element("h1", {}, "Lists"), element("div", {class: "lists"}, lists.map((list) => list.part)));
  await both();
  return both;
}
