// Texts and numbers that somebody sent. They are data whatever they hold: characters that cannot be seen or that turn
// the direction of others are shown by their codes and do nothing, and letters that stand in for other letters are
// pointed at.
import {element} from "./elements.js";

// Controls, formats, surrogates without a partner, private use, separators of lines, and letters that show nothing.
const unseen = /[\p{Cc}\p{Cf}\p{Cs}\p{Co}\p{Zl}\p{Zp}\u115F\u1160\u2800\u3164\uFFA0]/u;
const usual = new Set(["\n", "\t"]);
const joiner = "\u200D";
const nonJoiner = "\u200C";
// These join and part letters of scripts that are written joined, and pictures.
const joinsBefore = /[\p{Extended_Pictographic}\p{Emoji_Modifier}\uFE0F]/u;
const joinedScripts =
    ["Arabic", "Devanagari", "Bengali", "Gujarati", "Kannada", "Malayalam", "Tamil", "Telugu", "Sinhala", "Mongolian"];
const joinedScript = new RegExp(`[${joinedScripts.map((name) => `\\p{Script=${name}}`).join("")}]`, "u");

function isUsual(letters, at) {
  const letter = letters[at];
  const before = letters[at - 1] ?? "";
  const after = letters[at + 1] ?? "";
  if (letter === joiner && joinsBefore.test(before) && /\p{Extended_Pictographic}/u.test(after)) {
    return true;
  }
  if ((letter === joiner || letter === nonJoiner) && joinedScript.test(before)) {
    return true;
  }
  return usual.has(letter);
}

function codeOf(letter) {
  return "U+" + letter.codePointAt(0).toString(16).toUpperCase().padStart(4, "0");
}

// ---- Letters in disguise

const alphabets = ["Latin", "Greek", "Cyrillic", "Armenian", "Cherokee", "Coptic", "Lisu"];
const inAlphabet = new Map(alphabets.map((name) => [name, new RegExp(`\\p{Script=${name}}`, "u")]));

function alphabetOf(letter) {
  return alphabets.find((name) => inAlphabet.get(name).test(letter));
}

// A letter or digit that is one of ASCII in another shape: full-width, mathematical, in a circle.
function isShape(letter) {
  return letter.codePointAt(0) > 0x7f && !/\p{Script=Latin}\p{M}|[ªº¹²³]/u.test(letter) &&
      /^[A-Za-z0-9()]+$/.test(letter.normalize("NFKC"));
}

// The places of letters in words that mix alphabets, and of such shapes.
function disguised(letters) {
  const places = new Set();
  let word = [];
  const endWord = () => {
    const names = new Set(word.map((at) => alphabetOf(letters[at])).filter((name) => name));
    if (names.size > 1) {
      const usualName = names.has("Latin") ? "Latin" : [...names][0];
      word.filter((at) => ![usualName, undefined].includes(alphabetOf(letters[at]))).forEach((at) => places.add(at));
    }
    word = [];
  };
  letters.forEach((letter, at) => {
    if (isShape(letter)) {
      places.add(at);
    }
    if (/[\p{L}\p{M}\p{N}]/u.test(letter)) {
      word.push(at);
    } else if (!unseen.test(letter)) {
      endWord();
    }
  });
  endWord();
  return places;
}

// ---- As elements

// Children for an element that shows a text which is no longer what its sender wants it to be. Without `pointing`, for
// a text that was prepared already, letters in disguise are left alone.
export function shown(text, pointing = true) {
  const letters = [...text];
  const places = pointing ? disguised(letters) : new Set();
  const children = [];
  let plain = "";
  const flush = () => {
    if (plain !== "") {
      children.push(plain);
      plain = "";
    }
  };
  letters.forEach((letter, at) => {
    if (letter === "\r" && letters[at + 1] === "\n") {
      return;
    }
    if (unseen.test(letter) && !isUsual(letters, at)) {
      flush();
      children.push(
          element("span", {class: "code", title: "a character that is not seen, or turns others"}, codeOf(letter)));
    } else if (places.has(at)) {
      flush();
      const name = alphabetOf(letter);
      children.push(element(
          "span",
          {class: "alike", title: `${codeOf(letter)}${name ? ", " + name : ""}: not the letter that it looks like`},
          letter));
    } else {
      plain += letter;
    }
  });
  flush();
  return children;
}

// An element of its own direction, whatever stands beside it.
export function foreign(text, attributes = {}, tag = "bdi") {
  return element(tag, {dir: "auto", ...attributes}, shown(text));
}

export function sender(number) {
  return number === "" ? element("span", {class: "sender none"}, "no sender") : foreign(number, {class: "sender"});
}

// Whether something of it is shown otherwise than it came.
export function isDisguised(text) {
  return shown(text).some((child) => typeof child !== "string");
}
