// Puts the page together: a link, what is known of the switch, and the parts that draw it.
import {Actions} from "./act.js";
import {Link} from "./link.js";
import {Store} from "./store.js";
import {Tabs} from "./tabs.js";
import {mountClock} from "./clock/clock.js";
import {mountFaults} from "./faults/faults.js";
import {mountHeader} from "./header.js";
import {mountRates} from "./time/charts.js";
import {mountSlider} from "./time/slider.js";
import {mountTimeline} from "./time/timeline.js";
import {mountLabs} from "./overview/labs.js";
import {mountOverview} from "./overview/overview.js";
import {mountPanel} from "./panel/panel.js";
import {mountTables} from "./tables/tables.js";
import {mountTerminal} from "./terminal/terminal.js";

const element = (id) => document.getElementById(id);

const link = new Link(new URL("live", location.href.split("#")[0]).href.replace(/^http/, "ws"));
const store = new Store(link);
const app = {
  link,
  store,
  actions: new Actions(store, element("verbs")),
  tabs: new Tabs(element("tabs"), element("pages")),
  element,
};

mountHeader(app);
mountSlider(app);
mountTimeline(app);
mountRates(app);
mountClock(app);
mountOverview(app);
mountLabs(app);
mountPanel(app);
mountTables(app);
mountFaults(app);
mountTerminal(app);
