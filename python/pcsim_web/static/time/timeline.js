// What happened, the newest first: a list that stays quick however much comes, chosen by source and
// text.
import {h, setAttribute, setText} from "../dom.js";
import {counted, switchTime, wallTime} from "./format.js";
import {NewestFirst} from "./list.js";
import {Log, sumOf} from "./log.js";
import {partOf, pointAt} from "./parts.js";
import {chips, copyButton, searchField} from "./timeline_tools.js";

const OLDER = 500;      // events that are asked for at once
const MOST_OLDER = 5000;

function makeRow() {
  return h("div", {class: "row", role: "option"},
    h("span", {class: "when mono"}), h("span", {class: "wall mono"}),
    h("span", {class: "tag"}), h("span", {class: "what"}),
    h("button", {type: "button", class: "there", tabindex: -1}));
}

function textOf(row) {
  if (row.kind === "event") return row.text;
  const all = sumOf(row.counts);
  if (row.kind === "lost") {
    return `${counted(all, "event was", "events were")} lost: they came faster than they were read`;
  }
  const of = Object.keys(row.counts).join(", ");
  return `${counted(all, "more event")} of ${of} in this moment, summed up`;
}

/** The rows of the tab, and what is done with one. */
class Timeline {
  log = new Log();
  #asking = false;
  #missed = 0;  // that have come while it did not follow

  constructor(app, page) {
    this.app = app;
    this.store = app.store;
    this.list = new NewestFirst("Events, the newest first", makeRow,
                                (node, row) => this.#drawRow(node, row));
    this.chips = chips(this.log.filter, () => this.chosen());
    this.state = h("span", {class: "count soft"});
    this.followButton = h("button", {type: "button", class: "follow",
                                     onclick: () => this.list.follow(!this.list.following)});
    this.empty = h("p", {class: "empty soft"});
    page.classList.add("timeline");
    page.append(
      h("div", {class: "bar"}, searchField(this.log.filter, () => this.chosen()), this.followButton,
        copyButton(this.log), this.state),
      this.chips.element, this.list.element, this.empty);
    this.#listen();
    this.#drawFollow();
  }

  /** Another filter, another moment. */
  chosen() {
    this.log.filter.until = this.store.past?.time ?? null;
    this.log.choose();
    this.#missed = 0;
    this.#show(0);
  }

  #listen() {
    const {store, list} = this;
    store.addEventListener("whole", () => {
      this.log.begin(store.events);
      this.chosen();
    });
    store.addEventListener("events", (event) => {
      const added = this.log.add(event.detail, store.now());
      if (!list.following) this.#missed += added;
      this.#show(added);
    });
    store.addEventListener("time", () => this.chosen());
    list.addEventListener("follow", () => {
      this.#missed = 0;
      this.#drawFollow();
    });
    list.addEventListener("end", () => this.#askOlder());
    list.addEventListener("point", (event) => {
      pointAt(event.detail?.kind === "event" ? partOf(event.detail.text) : null);
    });
    list.addEventListener("choose", (event) => this.#go(event.detail));
    list.space.addEventListener("click", (event) => {
      const button = event.target.closest(".there");
      if (button) this.#go(button.closest(".row").row);
    });
  }

  #show(added) {
    this.list.show(this.log.shown, added);
    this.chips.draw(this.log.sources);
    const {shown, rows} = this.log;
    setText(this.state, this.#amount());
    const nothing = rows.length === 0 ? "Nothing has happened yet."
      : "None of the events that are known is like that.";
    setText(this.empty, shown.length > 0 ? "" : nothing);
    this.list.element.hidden = shown.length === 0;
    if (shown.length === 0) this.#askOlder();
    this.#drawFollow();
  }

  #amount() {
    const {shown, rows, untold} = this.log;
    const some = shown.length === rows.length ? "" : `${shown.length.toLocaleString("en")} of `;
    const more = untold > 0 ? `, ${untold.toLocaleString("en")} more summed up` : "";
    return `${some}${counted(rows.length, "row")}${more}`;
  }

  #drawFollow() {
    const {following} = this.list;
    setAttribute(this.followButton, "aria-pressed", String(following));
    const label = following ? "Following" : "Follow";
    setText(this.followButton, this.#missed > 0 ? `▲ ${counted(this.#missed, "new", "new")}`
      : `▲ ${label}`);
    this.followButton.title = following ? "Stay where one reads"
      : "Go to the newest event, and show others as they come";
  }

  #drawRow(node, row) {
    const [when, wall, tag, what, button] = node.children;
    const source = row.kind === "event" ? row.source : row.kind;
    node.className = `row ${row.kind}`;
    node.dataset.source = source;
    setText(when, row.kind === "event" ? switchTime(row.timeMs) : "");
    setText(wall, wallTime(row.at));
    setText(tag, row.kind === "event" ? source : "…");
    setText(what, textOf(row));
    what.title = what.textContent;
    const known = row.kind === "summed" || (this.store.historyFrom ?? Infinity) <= row.at;
    button.hidden = row.kind === "lost" || !known;
    setText(button, row.kind === "summed" ? "Show them" : "Go there");
    button.title = row.kind === "summed" ? "Show these events, as far as they are kept"
      : "Show the switch as it was then";
  }

  #go(row) {
    if (row.kind === "summed") this.#unfold(row);
    else if (row.kind === "event") this.store.goTo(row.at).catch(() => {});
  }

  async #unfold(row) {
    const count = Math.min(MOST_OLDER, row.to - row.from);
    const events = await this.#ask(row.to, count);
    if (events === null || !this.log.rows.includes(row)) return;
    this.log.replace(row, events);
    this.list.follow(false);
    this.#show(0);
  }

  async #askOlder() {
    if (this.#asking || this.log.complete || this.log.full || !this.store.connected) return;
    this.#asking = true;
    const {oldest} = this.log;
    const events = await this.#ask(oldest, OLDER);
    this.#asking = false;
    if (events === null || oldest !== this.log.oldest) return;
    this.log.addOlder(events);
    this.#show(0);
  }

  async #ask(before, count) {
    const instance = this.store.current;
    if (instance === null || !Number.isFinite(before)) return null;
    const answer = await this.app.link.ask("events", {instance, before, count}).catch(() => null);
    return instance === this.store.current ? answer?.events ?? null : null;
  }
}

/** The tab of what happened. */
export function mountTimeline(app) {
  let timeline = null;
  const page = app.tabs.add("events", "Events", () => timeline?.list.plan());
  timeline = new Timeline(app, page);
}
