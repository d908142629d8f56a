// The gauges of all pages: an arc that fills, drawn as SVG.

const SVG = "http://www.w3.org/2000/svg";
const SWEEP = 120;  // degrees to either side of the top
const RADIUS = 80;

function svg(tag, attributes) {
    const element = document.createElementNS(SVG, tag);
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
    return element;
}

function point(degrees) {
    const angle = (degrees * Math.PI) / 180;
    return `${(100 + RADIUS * Math.sin(angle)).toFixed(2)} ${(96 - RADIUS * Math.cos(angle)).toFixed(2)}`;
}

function arc(from, to) {
    const large = Math.abs(to - from) > 180 ? 1 : 0;
    return `M${point(from)}A${RADIUS} ${RADIUS} 0 ${large} ${to > from ? 1 : 0} ${point(to)}`;
}

/** The round number at or above `value` at which a scale may end. */
export function scaleEnd(value, least) {
    let end = least;
    for (let i = 0; end < value; ++i) end *= i % 3 === 1 ? 2.5 : 2;
    return end;
}

const formats = new Map();

export function number(value, decimals = 0) {
    if (!formats.has(decimals)) {
        formats.set(decimals, new Intl.NumberFormat("en", {
            minimumFractionDigits: decimals, maximumFractionDigits: decimals, signDisplay: "negative"}));
    }
    return formats.get(decimals).format(value);
}

/**
 * A value on a scale from 0, or from -end to end where `bothWays` is set. The scale grows with the values and
 * never shrinks, so that a glance from across the room reads the same all day.
 */
export class Gauge {
    constructor({name, unit, least = 1000, decimals = 0, bothWays = false}) {
        this.name = name;
        this.unit = unit;
        this.decimals = decimals;
        this.bothWays = bothWays;
        this.end = least;
        const start = bothWays ? 0 : -SWEEP;
        this.rising = svg("path", {d: arc(start, SWEEP), pathLength: 100, class: "value"});
        this.falling = svg("path", {d: arc(0, -SWEEP), pathLength: 100, class: "value"});
        this.text = svg("text", {x: 100, y: 106, class: "number"});
        this.low = svg("text", {x: 30, y: 162, class: "end"});
        this.high = svg("text", {x: 170, y: 162, class: "end"});
        const unitText = svg("text", {x: 100, y: 132, class: "unit"});
        unitText.textContent = unit;
        this.element = svg("svg", {viewBox: "0 0 200 166", class: "gauge", role: "img"});
        this.element.append(svg("path", {d: arc(-SWEEP, SWEEP), class: "track"}), this.falling, this.rising);
        if (bothWays) this.element.append(svg("path", {d: "M100 6V26", class: "zero"}));
        this.element.append(this.text, unitText, this.low, this.high);
        this.set(null);
    }

    /** `value` is null where there is none; `tone` names a color of style.css. */
    set(value, tone = "use") {
        this.end = scaleEnd(Math.abs(value ?? 0), this.end);
        const share = Math.abs(value ?? 0) / this.end * 100;
        this.fill(this.rising, value > 0 ? share : 0);
        this.fill(this.falling, this.bothWays && value < 0 ? share : 0);
        this.element.style.setProperty("--tone", `var(--${tone})`);
        const shown = value === null ? "–" : number(value, this.decimals);
        this.text.textContent = shown;
        this.text.setAttribute("font-size", Math.min(40, 205 / shown.length).toFixed(1));
        this.low.textContent = number(this.bothWays ? -this.end : 0);
        this.high.textContent = number(this.end);
        this.element.setAttribute("aria-label", value === null ? `${this.name}: no value yet`
                                                              : `${this.name}: ${shown} ${this.unit}`);
    }

    fill(path, share) {
        path.setAttribute("stroke-dasharray", `${share.toFixed(2)} 200`);
        path.classList.toggle("none", share === 0);
    }
}
