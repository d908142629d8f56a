// Charts of the past: power over a day, and energy per hour, day or month.
import {number} from "/gauges.js";
import {channelTitle, make, setText, start} from "/live.js";

const MONTHS = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"];

// Of a day of power, every third hour is named; on a narrow chart, every sixth.
const everyThirdHour = (size) => ({
    autoSkip: false,
    callback(value) {
        const hours = this.chart.width < 30 * size ? 6 : 3;
        return value % (12 * hours) === 0 ? this.getLabelForValue(value) : undefined;
    },
});

// `span` is which part of the calendar is shown at once; `tick` makes the text below the chart of a stamp.
const views = {
    power: {title: "Power", unit: "W", span: "day", step: 5, tick: (stamp) => stamp.slice(11), ticks: everyThirdHour},
    hours: {title: "Hours", unit: "kWh", span: "day", step: "hour", tick: (stamp) => stamp.slice(11, 13)},
    days: {title: "Days", unit: "kWh", span: "month", step: "day", tick: (stamp) => String(Number(stamp.slice(8, 10)))},
    months: {title: "Months", unit: "kWh", span: "year", step: "month", tick: (stamp) => MONTHS[stamp.slice(5, 7) - 1]},
};
const spans = {
    day: (date, by) => new Date(Date.UTC(date.getUTCFullYear(), date.getUTCMonth(), date.getUTCDate() + by)),
    month: (date, by) => new Date(Date.UTC(date.getUTCFullYear(), date.getUTCMonth() + by, 1)),
    year: (date, by) => new Date(Date.UTC(date.getUTCFullYear() + by, 0, 1)),
};

const byId = (id) => document.getElementById(id);
const iso = (date) => date.toISOString().slice(0, 10);
const dayMoved = (by) => iso(spans[views[choice.view].span](new Date(`${choice.day}T00:00Z`), by));
const localToday = () => iso(new Date(Date.now() - new Date().getTimezoneOffset() * 60000));

// Which devices and channels there are stands in the page.
const choice = {device: byId("device").value, channel: byId("channel").value, view: "power", day: localToday()};
let today = choice.day;
let chart = null;
let asked = 0;  // requests so far: an answer that comes late belongs to nobody
let names = new Map();

function readAddress() {
    const given = new URLSearchParams(location.hash.slice(1));
    for (const key of Object.keys(choice)) choice[key] = given.get(key) ?? choice[key];
    if (!views[choice.view]) choice.view = "power";
    if (Number.isNaN(Date.parse(choice.day))) choice.day = today;
}

/** What the channels and the chart are called; what is being entered stays as it is. */
function showTitle() {
    const titles = names.get(choice.device);
    [...byId("channel").options].forEach((option, i) => setText(option, titles?.[i] ?? option.value));
    const title = byId("channel").selectedOptions[0]?.text ?? choice.channel;
    const from = dayMoved(0);
    const span = {day: from, month: from.slice(0, 7), year: from.slice(0, 4)}[views[choice.view].span];
    setText(byId("heading"), `${title}, ${span}`);
    byId("chart").setAttribute("aria-label", `${byId("heading").textContent}: ${byId("summary").textContent}`);
}

function showChoice() {
    byId("device").value = choice.device;
    byId("channel").value = choice.channel;
    byId("day").value = choice.day;
    byId(`view-${choice.view}`).checked = true;
    showTitle();
}

function color(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function draw(view, points) {
    const bars = view.unit === "kWh";
    const size = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const font = {size: size * 0.75, family: getComputedStyle(document.body).fontFamily};
    const ink = color("--muted");
    const full = color(`--${choice.channel.toLowerCase()}`);
    const pale = `${full}66`;
    const dataset = {data: points.map((point) => point.value)};
    if (bars) {
        dataset.backgroundColor = points.map((point) => point.partial ? pale : full);
        Object.assign(dataset, {borderRadius: size / 5, maxBarThickness: size * 3});
    } else {
        Object.assign(dataset, {borderColor: full, backgroundColor: pale, fill: true,
                                borderWidth: size / 8, pointRadius: points.map(isAlone(points)),
                                pointHitRadius: size / 2, spanGaps: false});
    }
    chart?.destroy();
    chart = new Chart(byId("chart"), {
        type: bars ? "bar" : "line",
        data: {labels: points.map((point) => view.tick(point.time)), datasets: [dataset]},
        options: {
            animation: false, maintainAspectRatio: false, interaction: {mode: "index", intersect: false},
            plugins: {
                legend: {display: false},
                tooltip: {bodyFont: font, titleFont: font, displayColors: false,
                          callbacks: {title: ([item]) => points[item.dataIndex].time,
                                      label: (item) => value(view, points[item.dataIndex])}},
            },
            scales: {
                x: {grid: {display: false}, ticks: {font, color: ink, maxRotation: 0, ...view.ticks?.(size)}},
                y: {beginAtZero: true, grid: {color: color("--line"), drawBorder: false},
                    ticks: {font, color: ink, maxTicksLimit: 7}, title: {display: true, text: view.unit, font, color: ink}},
            },
        },
    });
}

/** A value between two gaps has no line to lie on: it is drawn as a point. */
function isAlone(points) {
    return ({value: own}, i) =>
        own !== null && (points[i - 1]?.value ?? null) === null && (points[i + 1]?.value ?? null) === null ? 3 : 0;
}

function value(view, point) {
    if (point.value === null) return "no data";
    const text = view.unit === "W" ? `${number(point.value)} W` : `${number(point.value, 3)} kWh`;
    return point.partial ? `${text} (not the whole time)` : text;
}

function summary(view, points) {
    const known = points.filter((point) => point.value !== null).map((point) => point.value);
    if (known.length === 0) return "There are no data of this time.";
    const all = known.reduce((sum, each) => sum + each, 0);
    if (view.unit === "kWh") return `In all ${number(all, 3)} kWh`;
    return `Mean ${number(all / known.length)} W, highest ${number(Math.max(...known))} W`;
}

function showTable(view, points) {
    const rows = points.filter((point) => point.value !== null).map((point) => make(
        "tr", {}, make("td", {}, point.time), make("td", {}, value(view, point))));
    const head = make("thead", {}, make("tr", {}, make("th", {scope: "col"}, "From"),
                                        make("th", {scope: "col"}, view.unit === "W" ? "Mean power" : "Energy")));
    byId("table").replaceChildren(head, make("tbody", {}, ...rows));
}

async function load() {
    const own = ++asked;
    const view = views[choice.view];
    history.replaceState(null, "", `#${new URLSearchParams(choice)}`);
    const {device, channel} = choice;
    const question = new URLSearchParams({device, channel, from: dayMoved(0), to: dayMoved(1), step: view.step});
    const slow = setTimeout(() => own === asked && setText(byId("summary"), "Waiting for the database."), 1000);
    let answer;
    let again = false;
    try {
        const response = await fetch(`/history.json?${question}`);
        answer = await response.json();
        again = response.status === 503;
    } catch {
        answer = {error: "The program does not answer."};
    }
    clearTimeout(slow);
    if (own !== asked) return;
    if (again) setTimeout(() => own === asked && load(), 5000);
    const points = answer.points ?? [];
    setText(byId("summary"), answer.error ?? summary(view, points));
    showTitle();
    draw(view, points);
    showTable(view, points);
}

function change(changes) {
    Object.assign(choice, changes);
    showChoice();
    load();
}

function move(by) {
    change({day: dayMoved(by)});
}

for (const [name, view] of Object.entries(views)) {
    const radio = make("input", {type: "radio", name: "view", id: `view-${name}`});
    radio.addEventListener("change", () => change({view: name}));
    byId("views").append(radio, make("label", {htmlFor: `view-${name}`}, view.title));
}
byId("device").addEventListener("change", (event) => change({device: event.target.value}));
byId("channel").addEventListener("change", (event) => change({channel: event.target.value}));
byId("day").addEventListener("change", (event) => event.target.value && change({day: event.target.value}));
byId("earlier").addEventListener("click", () => move(-1));
byId("later").addEventListener("click", () => move(1));
byId("today").addEventListener("click", () => change({day: today}));
byId("choice").addEventListener("submit", (event) => event.preventDefault());
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", load);
setInterval(load, 60000);

readAddress();
showChoice();
load();
let named = "";
start((devices, newest) => {
    today = newest.time.slice(0, 10);
    names = new Map(devices.map((device) => [device.slot, device.channels.map(channelTitle)]));
    const text = JSON.stringify([...names]);
    if (text === named) return;
    named = text;
    showTitle();
});
