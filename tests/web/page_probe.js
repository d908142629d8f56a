// Runs in a page before its own scripts: its time passes only when a test says so, and it tells what it shows.
(() => {
    let now = 0;  // ms
    const alarms = new Set();
    const setAlarm = (again) => (call, wait) => alarms.add({call, wait, again, due: now + wait});
    performance.now = () => now;
    Date.now = () => 1772446830000 + now;
    window.setTimeout = setAlarm(false);
    window.setInterval = setAlarm(true);
    window.pass = (seconds) => {
        for (const end = now + seconds * 1000; now < end;) {
            now += 500;
            for (const alarm of [...alarms].filter(({due}) => due <= now)) {
                alarm.due += alarm.wait;
                if (!alarm.again) alarms.delete(alarm);
                alarm.call();
            }
        }
        return shown("#status");
    };

    window.sources = [];  // every connection for events, in the order of their opening
    window.heard = 0;     // events of all of them
    window.EventSource = class extends EventSource {
        constructor(address) {
            super(address);
            sources.push(this);
            for (const name of ["readings", "packet"]) this.addEventListener(name, () => ++heard);
        }
    };

    window.late = null;  // a list, while answers are held back: what lets each of them go
    window.asked = 0;     // so far
    const ask = window.fetch;
    window.fetch = async (address) => {
        ++asked;
        const answer = await (await ask(address)).json();
        if (late !== null) await new Promise((go) => late.push(go));
        return {json: async () => answer};
    };

    const gauge = (svg) => {
        const shares = [...svg.querySelectorAll(".value:not(.none)")].map((path) =>
            `${/A80 80 0 [01] 0 /.test(path.getAttribute("d")) ? "-" : ""}${parseFloat(path.getAttribute("stroke-dasharray"))}%`);
        const texts = [...svg.querySelectorAll("text")].map((text) => text.textContent).join(" ");
        const size = svg.querySelector(".number").getAttribute("font-size");
        return `(${svg.ariaLabel}: ${texts}, ${size}px ${shares} ${svg.style.getPropertyValue("--tone")})`;
    };
    const read = (node) => {
        if (node.nodeType === Node.TEXT_NODE) return node.data.trim();
        if (!node.checkVisibility()) return "";
        if (node.tagName === "svg") return gauge(node);
        if (node.tagName === "SELECT") return `${node.selectedOptions[0]?.text} of ${[...node.options].map(({text}) => text)}`;
        if (node.tagName === "INPUT") return node.type === "radio" ? (node.checked ? "*" : "") : node.value;
        const text = [...node.childNodes].map(read).filter(Boolean).join("|");
        if (node.tagName === "A")
            return `${text}${node.ariaCurrent === "page" ? "*" : ""}>${node.getAttribute("href")}`;
        const state = node.dataset.state ?? (node.classList.contains("stale") ? "STALE" : null);
        return state === null ? text : `${state}: ${text}`;
    };
    window.shown = (selector) => {
        const element = document.querySelector(selector);
        return element === null ? "nothing" : read(element);
    };

    window.chartShown = () => {
        const {config: {type, data, options}, scales: {x, y}} = Chart.getChart("chart");
        const [{backgroundColor, borderColor, pointRadius, data: values}] = data.datasets;
        const {title, label} = options.plugins.tooltip.callbacks;
        const points = values.flatMap((value, i) => value === null ? [] : [
            `${data.labels[i]}=${value} ${pointRadius?.[i] ?? backgroundColor[i]} [${title([{dataIndex: i}])}: ` +
            `${label({dataIndex: i})}]`]);
        return [shown("#heading"), shown("#summary"), decodeURIComponent(location.hash),
                `${type} of ${values.length} ${borderColor ?? ""} ${y.options.title.text}`, points.join(", "),
                `else ${values.includes(null) ? label({dataIndex: values.indexOf(null)}) : ""}`,
                (type === "bar" ? data.labels : x.ticks.map((tick) => tick.label).filter(Boolean)).join(" ")].join("; ");
    };
})();
