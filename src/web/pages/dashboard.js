// The live dashboard: a card for each device, with a gauge for every channel in use.
import {Gauge, number} from "/gauges.js";
import {channelTitle, isStale, make, setText, staleText, start} from "/live.js";

const cards = new Map();  // by letter

class ChannelView {
    constructor(isMain) {
        this.gauge = new Gauge({name: "", unit: "W", least: isMain ? 1000 : 100});
        this.title = make("h3");
        this.details = make("p", {className: "details"});
        this.element = make("div", {className: isMain ? "channel main" : "channel"}, this.gauge.element, this.title,
                            this.details);
    }

    show(slot, channel) {
        setText(this.title, channelTitle(channel));
        this.gauge.name = `Device ${slot} ${channelTitle(channel)}`;
        this.gauge.set(channel.watts, channel.name.toLowerCase());
        const parts = [];
        if (channel.amps !== undefined) parts.push(`${number(channel.amps, 1)} A`);
        parts.push(`${number(channel.kwh, 1)} KWh`);
        if (channel.wattsPolarized > 0) parts.push(`${number(channel.wattsPolarized)} W the other way`);
        setText(this.details, parts.join(" · "));
    }
}

class Card {
    constructor(device) {
        this.age = make("span", {className: "age"});
        this.volt = make("span");
        this.serial = make("span");
        this.mains = make("div", {className: "mains"});
        this.others = make("div", {className: "others"});
        this.channels = new Map();
        const title = make("h2", {}, `Device ${device.slot}`);
        this.element = make("section", {className: "card device", ariaLabel: `Device ${device.slot}`},
                            make("div", {className: "heading"}, title, this.serial, this.volt, this.age), this.mains,
                            this.others);
    }

    show(device) {
        this.element.classList.toggle("stale", isStale(device));
        setText(this.age, staleText(device));
        setText(this.serial, `${device.model} ${device.serial}`);
        setText(this.volt, `${number(device.volt, 1)} V`);
        this.showChannels(this.mains, device.slot, device.channels.slice(0, 2));
        this.showChannels(this.others, device.slot, device.channels.slice(2).filter(
            (channel) => this.channels.has(channel.name) || isInUse(channel)));
    }

    /** In their order, whichever came into use first. */
    showChannels(box, slot, channels) {
        for (const channel of channels) {
            if (!this.channels.has(channel.name)) this.channels.set(channel.name, new ChannelView(box === this.mains));
            this.channels.get(channel.name).show(slot, channel);
        }
        if (box.childElementCount !== channels.length)
            box.replaceChildren(...channels.map(({name}) => this.channels.get(name).element));
    }
}

function isInUse(channel) {
    return channel.wattSeconds > 0 || channel.carry > 0 || channelTitle(channel) !== channel.name;
}

const house = document.getElementById("house");
const figures = new Map();

/** What is summed over devices, in figures to be read from afar. */
function showHouse(sums) {
    house.hidden = sums === null;
    if (sums === null) return;
    const shown = sums.netMetering
        ? [["From the grid", sums.powerBought, "buy"], ["To the grid", sums.powerSold, "sell"],
           ["Generated", sums.powerGen, "gen"], ["Used at home", sums.powerUsed, "use"]]
        : [["Main panel", sums.mainPower, "use"], ["Un-monitored loads", sums.other, "use"]];
    if (figures.size !== shown.length) {
        figures.clear();
        house.replaceChildren(make("h2", {className: "hidden"}, "House"));
        for (const [title, , tone] of shown) {
            const figure = make("strong");
            figures.set(title, figure);
            house.append(make("p", {className: `figure ${tone}`}, make("span", {}, title), figure));
        }
    }
    for (const [title, watts] of shown) setText(figures.get(title), `${number(watts)} W`);
    house.classList.toggle("stale", isStale(sums));
}

start((devices, newest) => {
    document.getElementById("empty").hidden = devices.length > 0;
    showHouse(newest.virtual);
    for (const device of devices) {
        if (!cards.has(device.slot)) {
            cards.set(device.slot, new Card(device));
            document.getElementById("devices").replaceChildren(
                ...devices.filter(({slot}) => cards.has(slot)).map(({slot}) => cards.get(slot).element));
        }
        cards.get(device.slot).show(device);
    }
});
