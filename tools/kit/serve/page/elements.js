// Making elements. Whatever is shown goes in as text; nothing here ever reads a text as markup.

const svgSpace = "http://www.w3.org/2000/svg";

function fill(made, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name === "onclick" || name === "onsubmit" || name === "oninput" || name === "onchange") {
      made.addEventListener(name.slice(2), value);
    } else if (value === true) {
      made.setAttribute(name, "");
    } else if (value !== false && value !== null && value !== undefined) {
      made.setAttribute(name, String(value));
    }
  }
  made.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== ""));
  return made;
}

// An element of HTML. Handlers are functions under onclick, onsubmit, oninput, onchange; children are elements and
// texts.
export function element(tag, attributes = {}, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

// An element of SVG.
export function drawn(tag, attributes = {}, ...children) {
  return fill(document.createElementNS(svgSpace, tag), attributes, children);
}

export function button(label, onclick, attributes = {}) {
  return element("button", {type: "button", onclick, ...attributes}, label);
}

// What happened, for eyes and for screen readers.
export function say(text) {
  document.getElementById("status").textContent = text;
}

export function problemNote(problem) {
  return element("p", {class: "note problem", role: "alert"}, problem.message);
}

// Does what a user asked for, with its buttons off meanwhile; a problem is told in the place. True when it was done.
export async function attempt(place, buttons, work) {
  place.replaceChildren();
  buttons.forEach((one) => {
    one.disabled = true;
  });
  try {
    await work();
    return true;
  } catch (problem) {
    if (problem.status === undefined) {
      throw problem;
    }
    if (problem.status !== 401) {
      place.replaceChildren(problemNote(problem));
    }
    return false;
  } finally {
    buttons.forEach((one) => {
      one.disabled = false;
    });
  }
}

const shortTime = new Intl.DateTimeFormat(undefined, {dateStyle: "medium", timeStyle: "short"});

export function timeOf(text) {
  return element("time", {datetime: text}, shortTime.format(new Date(text)));
}

export function counted(count, one, many) {
  return `${count.toLocaleString()} ${count === 1 ? one : many}`;
}
