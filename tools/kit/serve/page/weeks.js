// The last weeks, drawn: messages by verdict, corrections, the share that was unsure.
import {read} from "./api.js";
import {drawn, element, timeOf} from "./elements.js";

const width = 340;
const height = 190;
const left = 44;
const bottom = 164;
const top = 10;

const dayText = new Intl.DateTimeFormat(undefined, {day: "numeric", month: "short", timeZone: "UTC"});

function dayOf(monday) {
  return dayText.format(new Date(`${monday}T00:00:00Z`));
}

// A round number that is not less.
function ceiling(value) {
  const power = 10 ** Math.floor(Math.log10(Math.max(value, 1)));
  return [1, 2, 4, 6, 8, 10].map((step) => step * power).find((round) => round >= value);
}

// Bars for each week, with the kinds of a week above each other. `format` writes the figures of the axis.
function chart({id, title, weeks, kinds, most, format}) {
  const step = (width - left - 4) / weeks.length;
  const y = (value) => bottom - (bottom - top) * value / most;
  const lines = [0, most / 2, most]
                    .filter((value) => most > 1 || value !== most / 2 || format(value) !== format(0))
                    .map(
                        (value) =>
                            [drawn("line", {x1: left, x2: width, y1: y(value), y2: y(value), class: "grid"}),
                             drawn("text", {x: left - 6, y: y(value) + 4, "text-anchor": "end"}, format(value)),
  ]);
  const bars = weeks.map((week, at) => {
    let sum = 0;
    const parts = kinds
                      .map((kind) => {
                        const value = kind.of(week);
                        sum += value;
                        return value === 0 ?
                            "" :
                            drawn(
                                "rect", {
                                  x: left + at * step + step * 0.15,
                                  width: step * 0.7,
                                  y: y(sum),
                                  height: y(sum - value) - y(sum),
                                  class: `part ${kind.name}`,
                                },
                                drawn("title", {}, `Week of ${dayOf(week.monday)}, ${kind.label}: ${format(value)}`));
                      })
                      .filter((part) => part !== "");
    const label = (weeks.length - 1 - at) % Math.ceil(weeks.length / 4) === 0 ?
        drawn("text", {x: left + (at + 0.5) * step, y: bottom + 18, "text-anchor": "middle"}, dayOf(week.monday)) :
        "";
    return [...parts, label].filter((part) => part !== "");
  });
  return element(
      "figure", {id, class: "chart"},
      element(
          "figcaption", {}, element("h2", {}, title),
          kinds.length > 1 ?
              element(
                  "p", {class: "legend"},
                  kinds.map((kind) => [element("span", {class: `key ${kind.name}`}), `${kind.label} `])) :
              ""),
      drawn(
          "svg",
          {viewBox: `0 0 ${width} ${height}`, role: "img", "aria-label": `${title}; the table below has the figures`},
          lines.flat(), bars.flat()));
}

function total(week) {
  return week.ham + week.spam + week.unsure;
}

function unsureShare(week) {
  return total(week) === 0 ? 0 : week.unsure / total(week);
}

function percent(value) {
  const hundredths = 100 * value;
  return `${hundredths.toFixed(hundredths < 10 && !Number.isInteger(hundredths) ? 1 : 0)} %`;
}

function table(weeks) {
  const columns = [
    ["Week of", (week) => dayOf(week.monday)],
    ["Not spam", (week) => week.ham],
    ["Unsure", (week) => week.unsure],
    ["Spam", (week) => week.spam],
    ["Not spam", (week) => week.correctedToHam],
    ["Spam", (week) => week.correctedToSpam],
    ["Unsure", (week) => (total(week) === 0 ? "–" : percent(unsureShare(week)))],
  ];
  return element(
      "div", {class: "wide", tabindex: "0", role: "region", "aria-label": "The figures"},
      element(
          "table", {}, element("caption", {}, "The figures, the newest first"), element("colgroup"),
          element("colgroup", {span: 3}), element("colgroup", {span: 2}), element("colgroup"),
          element(
              "thead", {},
              element(
                  "tr", {}, element("td"), element("th", {scope: "colgroup", colspan: 3, class: "figure"}, "Messages"),
                  element("th", {scope: "colgroup", colspan: 2, class: "figure"}, "Corrected to"),
                  element("th", {scope: "colgroup", class: "figure"}, "Share")),
              element(
                  "tr", {},
                  columns.map(([name], at) => element("th", {scope: "col", class: at === 0 ? null : "figure"}, name)))),
          element(
              "tbody", {},
              [...weeks].reverse().map(
                  (week) => element(
                      "tr", {},
                      columns.map(
                          ([, of], at) => at === 0 ? element("th", {scope: "row"}, of(week)) :
                                                     element("td", {class: "figure"}, of(week).toLocaleString())))))));
}

export async function weeksView(room) {
  const whole = (value) => (Number.isInteger(value) ? value.toLocaleString() : "");

  let before = "";
  async function load() {
    const answer = await read("v1/weeks", {weeks: 8});
    if (JSON.stringify(answer) === before) {
      return;
    }
    before = JSON.stringify(answer);
    const {weeks, oldest} = answer;
    const share = Math.max(...weeks.map(unsureShare));
    room.replaceChildren(
        element("h1", {}, "The last weeks"),
        oldest === null ? element("p", {class: "note"}, "The journal has no messages yet.") :
                          element(
                              "p", {class: "quiet"}, "The journal goes back to ", timeOf(oldest),
                              "; what is older is gone. Weeks begin on Mondays in UTC."),
        element(
            "div", {class: "charts"}, chart({
              id: "by-verdict",
              title: "Messages",
              weeks,
              format: whole,
              most: ceiling(Math.max(...weeks.map(total))),
              kinds: [
                {name: "ham", label: "not spam", of: (week) => week.ham},
                {name: "unsure", label: "unsure", of: (week) => week.unsure},
                {name: "spam", label: "spam", of: (week) => week.spam}
              ],
            }),
            chart({
              id: "corrections",
              title: "Corrections",
              weeks,
              format: whole,
              most: ceiling(Math.max(...weeks.map((week) => week.correctedToHam + week.correctedToSpam))),
              kinds: [
                {name: "ham", label: "to not spam", of: (week) => week.correctedToHam},
                {name: "spam", label: "to spam", of: (week) => week.correctedToSpam}
              ],
            }),
            chart({
              id: "unsure",
              title: "Share unsure",
              weeks,
              format: percent,
              most: share > 0.5 ? 1 :
                  share > 0.2   ? 0.5 :
                  share > 0.1   ? 0.2 :
                                  0.1,
              kinds: [{name: "unsure", label: "unsure", of: unsureShare}],
            })),
        table(weeks));
  }
  await load();
  return load;
}
