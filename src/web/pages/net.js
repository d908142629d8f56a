// Net metering: what goes to and comes from the grid, what is generated and what the home uses.
import {Gauge, number} from "/gauges.js";
import {isStale, make, setText, start} from "/live.js";

const grid = new Gauge({name: "Grid", unit: "W", bothWays: true});
const generated = new Gauge({name: "Generated", unit: "W", bothWays: true});
const used = new Gauge({name: "Used by the home", unit: "W"});

const kwh = (value) => `${number(value, 3)} kWh`;
const watts = (value) => `${number(value)} W`;

// Each: the title, and what stands behind it.
const energies = [
    ["Net Energy From Grid", (sums) => kwh(sums.netKwh)],
    ["Generated Energy", (sums) => kwh(sums.kwhGen)],
    ["Energy Consumed By Home Loads", (sums) => kwh(sums.kwhUsed)],
    ["Energy bought", (sums) => kwh(sums.kwhBought)],
    ["Energy sold", (sums) => kwh(sums.kwhSold)],
];
const sumsOfPanel = [
    ["Main panel", (sums) => `${watts(sums.mainPower)}${sums.bipolarMain ? " (net)" : ""} · ${kwh(sums.mainKwh)}`],
    ["Other (un-monitored loads)", (sums) => `${watts(sums.other)} · ${kwh(sums.otherKwh)}`],
    ...[0, 1, 2].map((i) => [`Virtual channel ${i + 1}`,
                             ({channels}) => `${watts(channels[i].power)} · ${kwh(channels[i].kwh)}`]),
];

function list(title, rows) {
    const values = rows.map(() => make("dd"));
    const entries = rows.flatMap(([name], i) => [make("dt", {}, name), values[i]]);
    const element = make("section", {className: "card"}, make("h2", {}, title), make("dl", {}, ...entries));
    return {element, show: (sums) => rows.forEach(([, text], i) => setText(values[i], text(sums)))};
}

function view(gauge, title, size) {
    return make("div", {className: `channel ${size}`}, gauge.element, title);
}

const gridTitle = make("h3");
const generatedTitle = make("h3");
const gauges = make("section", {className: "card net", ariaLabel: "Power"}, view(generated, generatedTitle, ""),
                    view(grid, gridTitle, "main"), view(used, make("h3", {}, "Used by the home"), ""));
const energyList = list("Energy", energies);
const panelList = list("Sums", sumsOfPanel);
document.getElementById("net").append(gauges, energyList.element, panelList.element);

const empty = document.getElementById("empty");
const missing = document.getElementById("missing");

start((devices, {virtual: sums}) => {
    const nothing = sums === null;
    document.getElementById("net").hidden = nothing;
    empty.hidden = !nothing && sums.netMetering;
    setText(empty, nothing ? "No channels are chosen yet that sums are made of."
                           : "This installation is not set up for net metering.");
    if (nothing) return;
    gauges.hidden = energyList.element.hidden = !sums.netMetering;
    missing.hidden = sums.missing.length === 0;
    setText(missing, `Device ${sums.missing.join(", ")} is off line; its power is missing here.`);
    gauges.classList.toggle("stale", isStale(sums));
    grid.set(sums.netPower, sums.netPower < 0 ? "sell" : "buy");
    setText(gridTitle, sums.netPower < 0 ? "Sending Power to the Grid" : "Receiving Power From the Grid");
    generated.set(sums.powerGen, sums.powerGen < 0 ? "buy" : "gen");
    setText(generatedTitle, sums.powerGen < 0 ? "Power Consumed By Inverter" : "Power Being Generated");
    used.set(sums.powerUsed);
    energyList.show(sums);
    panelList.show(sums);
});
