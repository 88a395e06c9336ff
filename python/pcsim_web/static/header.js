// The head of the page: which switches there are, which is shown, what is wrong with the
// connection.
import {h, setAttribute, setText} from "./dom.js";
import {Kept} from "./kept.js";

function describe(instance) {
  if (!instance.alive) return instance.problem || "ended";
  return `${instance.shape}, ${instance.portsUp} of ${instance.ports} ports up`;
}

// So many have room in the head; of more the overview alone tells, which has all.
const MOST = 8;

/** The button of a switch. */
class Choice {
  constructor({store}, {name}) {
    this.store = store;
    this.end = h("small", {});
    this.node = h("button", {type: "button", onclick: () => store.choose(name)}, name, this.end);
  }

  update(instance) {
    setText(this.end, instance.alive ? "" : " ended");
    setAttribute(this.node, "class", instance.alive ? "alive" : "ended");
    setAttribute(this.node, "title", describe(instance));
    setAttribute(this.node, "aria-pressed", String(instance.name === this.store.current));
  }
}

function problemOf(store) {
  if (!store.connected) return "pcsim-web does not answer. This page goes on when it is back.";
  if (store.instances.length === 0) {
    return "No switch runs. Start one, for example: pcsim --lab 4 --name demo";
  }
  const shown = store.instances.find((each) => each.name === store.current);
  if (!store.alive || !shown?.alive) {
    return `${store.current} has ended. What is shown is how it was last; the page goes on when it `
      + "is started again.";
  }
  return store.readOnly ? "You may look, but not touch: this page is read-only." : "";
}

/** Draws the head of the page. */
export function mountHeader(app) {
  const {store, element} = app;
  const notice = element("notice");
  const nav = element("instances");
  const choices = new Kept(nav, (instance) => new Choice(app, instance));
  const draw = () => {
    nav.hidden = store.instances.length > MOST;
    choices.draw(nav.hidden ? [] : store.instances);
    const problem = problemOf(store);
    setText(notice, problem);
    notice.hidden = problem === "";
    document.body.classList.toggle("ended", !store.alive);
    document.body.classList.toggle("past", store.past !== null);
    document.title = store.current ? `${store.current} – pcsim` : "pcsim";
  };
  for (const type of ["instances", "connection", "whole", "time"]) {
    store.addEventListener(type, draw);
  }
  element("theme").addEventListener("click", () => {
    const root = document.documentElement;
    const dark = root.dataset.theme ? root.dataset.theme === "dark"
      : matchMedia("(prefers-color-scheme: dark)").matches;
    root.dataset.theme = dark ? "light" : "dark";
    localStorage.setItem("theme", root.dataset.theme);
  });
  const theme = localStorage.getItem("theme");
  if (theme) document.documentElement.dataset.theme = theme;
}
