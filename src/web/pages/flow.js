// The flow of water or gas: of every device that counts pulses in the unit of this page.
import {Gauge, number} from "/gauges.js";
import {isStale, make, setText, staleText, start} from "/live.js";

const unit = document.getElementById("main").dataset.unit;
const views = new Map();  // by letter

function makeView(slot) {
    const gauge = new Gauge({name: `Flow of Device ${slot}`, unit, least: 10, decimals: 2});
    const total = make("strong");
    const age = make("span", {className: "age"});
    const element = make("section", {className: "card flow", ariaLabel: `Device ${slot}`},
                         make("div", {className: "heading"}, make("h2", {}, `Device ${slot}`), age),
                         make("div", {className: "channel main"}, gauge.element),
                         make("p", {className: "figure"}, make("span", {}, "Total"), total));
    document.getElementById("flows").append(element);
    return {gauge, total, age, element};
}

start((devices) => {
    const counting = devices.filter((device) => device.pulse?.rateUnit === unit);
    document.getElementById("empty").hidden = counting.length > 0;
    for (const [slot, {element}] of views) element.hidden = !counting.some((device) => device.slot === slot);
    for (const device of counting) {
        if (!views.has(device.slot)) views.set(device.slot, makeView(device.slot));
        const {gauge, total, age, element} = views.get(device.slot);
        gauge.set(device.pulse.rate, "flow");
        setText(total, `${number(device.pulse.total, 2)} ${device.pulse.totalUnit}`);
        element.classList.toggle("stale", isStale(device));
        setText(age, staleText(device));
    }
});
