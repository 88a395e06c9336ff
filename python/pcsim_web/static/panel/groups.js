// The groups of a menu: fields, and buttons whose titles are the lines that they run.
import {h} from "../dom.js";

function drawField({name, label, unit, type, value, min, max, choices}) {
  const input = choices
    ? h("select", {name}, choices.map(([key, words]) => h("option", {value: key}, words)))
    : h("input", {name, type, value, min, max, required: true});
  input.value = value;
  return {name, input, node: h("label", {}, h("span", {class: "unseen"}, label), input,
                                h("span", {"aria-hidden": "true"}, unit))};
}

function drawButton(app, {label, line, ran}, valuesOf, disabled) {
  const lineNow = () => typeof line === "string" ? line : line(valuesOf());
  const button = h("button", {type: "button", disabled, onclick: () => {
    ran?.();
    app.actions.run(lineNow());
  }}, label);
  const update = () => { button.title = lineNow(); };
  update();
  return {button, update};
}

/** A row: what it is about, its fields, its buttons. A number that is out of bounds is not sent. */
function drawGroup(app, group, disabled) {
  const fields = (group.fields ?? []).map(drawField);
  const valuesOf = () => Object.fromEntries(fields.map(({name, input}) => [name, input.value]));
  const buttons = group.buttons.map((each) => drawButton(app, each, valuesOf, disabled));
  const changed = () => {
    const wrong = fields.some(({input}) => !input.checkValidity());
    for (const {button, update} of buttons) {
      button.disabled = disabled || wrong;
      update();
    }
  };
  for (const {input} of fields) input.addEventListener("input", changed);
  return h("fieldset", {}, h("legend", {}, group.title),
           h("div", {class: "menu-row"}, fields.map((field) => field.node),
             buttons.map(({button}) => button)),
           group.note ? h("p", {class: "menu-note"}, group.note) : null);
}

/** Draws the groups in place of those that are there. What was typed stays. */
export function drawGroups(app, place, groups, disabled) {
  const typed = new Map([...place.querySelectorAll("input, select")]
    .map((input) => [input.name, input.value]));
  const remembered = groups.map((group) => ({...group, fields: group.fields?.map(
    (field) => ({...field, value: typed.get(field.name) ?? field.value}))}));
  place.replaceChildren(...remembered.map((group) => drawGroup(app, group, disabled)));
}
