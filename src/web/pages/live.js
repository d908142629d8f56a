// The connection to the program, and the frame of every page: its links, and how fresh the readings are.

const SILENCE = 25;  // seconds without a word, heartbeats included, after which the connection counts as gone
const AGAIN = 4;     // seconds until the next attempt

/** Makes an element. Properties are set as they are; children are elements or texts. */
export function make(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name in element) element[name] = value;
        else element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

/** Changes a text only where it is another one, so that screen readers hear no repetition. */
export function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

function duration(seconds) {
    if (seconds < 90) return `${Math.round(seconds)} s`;
    if (seconds < 5400) return `${Math.round(seconds / 60)} min`;
    return seconds < 172800 ? `${Math.round(seconds / 3600)} h` : `${Math.round(seconds / 86400)} days`;
}

/** A channel's own name where it has one, else CH1 or AUX1. */
export function channelTitle(channel) {
    return channel.label || channel.name;
}

const devices = new Map();  // by letter, with all that is known
let newest = null;          // the last document, for what belongs to no device
let heardAt = 0;            // seconds of this machine
let connected = false;
let source = null;
let listener = () => {};

function now() {
    return performance.now() / 1000;
}

function take(document) {
    newest = document;
    heardAt = now();
    connected = true;
    for (const device of document.devices) {
        const known = devices.get(device.slot);
        device.channels.forEach((channel, i) => { channel.label ||= known?.channels[i].label ?? ""; });
        device.heardAt = heardAt;
        devices.set(device.slot, device);
    }
    show();
}

/** Seconds since the device's last packet. */
function ageOf(device) {
    return device.age + now() - device.heardAt;
}

/** Whether a device, or what is summed over devices, is stale: the program says so, or says nothing any more. */
export function isStale(what) {
    return !connected || what.stale;
}

/** What is told of a stale device. */
export function staleText(device) {
    return isStale(device) ? `Stale: last packet ${duration(ageOf(device))} ago` : "";
}

function open() {
    source?.close();
    source = new EventSource("/events");
    for (const name of ["readings", "packet"])
        source.addEventListener(name, (event) => take(JSON.parse(event.data)));
    source.onerror = () => {
        connected = false;
        show();
        if (source.readyState === EventSource.CLOSED) setTimeout(open, AGAIN * 1000);
    };
}

const status = make("p", {id: "status", className: "status", role: "status"});
const clock = make("time", {className: "clock"});
const links = [["/", "Live"], ["/net.html", "Net metering"], ["/charts.html", "Charts"], ["/ledger.html", "Ledger"]];

function link(href, text) {
    const anchor = make("a", {href}, text);
    if (location.pathname === href) anchor.setAttribute("aria-current", "page");
    return anchor;
}

const nav = make("nav", {ariaLabel: "Pages"}, ...links.map(([href, text]) => link(href, text)));

function showFlowLinks() {
    const counting = [...devices.values()].filter((device) => device.pulse?.page);
    for (const page of new Set(counting.map((device) => device.pulse.page))) {
        if (nav.querySelector(`a[href="${page}"]`)) continue;
        const unit = counting.find((device) => device.pulse.page === page).pulse.rateUnit;
        nav.append(link(page, `Flow ${unit}`));
    }
}

function showStatus() {
    const silent = [...devices.values()].filter(isStale).map((device) => device.slot);
    let state = "live";
    let text = "Live";
    if (!connected) {
        state = "lost";
        text = newest === null ? "Connecting ..." : "Connection lost - trying again";
    } else if (devices.size === 0) {
        state = "stale";
        text = "No readings yet";
    } else if (silent.length > 0) {
        state = "stale";
        text = `No news from Device ${silent.join(", ")}`;
    } else if (newest.health.states.some(({severity}) => severity === "error")) {
        state = "lost";
        text = newest.health.recording ? "Trouble" : "Not recording";
    }
    status.dataset.state = state;
    setText(status, text);
    document.body.dataset.state = state;
    if (newest !== null) setText(clock, newest.time.slice(11, 16));
}

const health = make("section", {id: "health", ariaLabel: "Health", role: "status"});
const furtherPages = {"doubtful-carries": "/ledger.html"};  // which tell more of a state
let shownHealth = "";

/** What is wrong with the program, the worst first. */
function showHealth() {
    const states = (newest?.health.states ?? []).filter(({severity}) => severity !== "info");
    const key = JSON.stringify(states);
    if (key === shownHealth) return;
    shownHealth = key;
    health.replaceChildren(...states.map(({id, severity, text, remedy}) => {
        const page = furtherPages[id];
        const title = page && location.pathname !== page ? link(page, text) : make("strong", {}, text);
        return make("p", {className: `notice ${severity}`}, title, ` ${remedy}`);
    }));
    document.querySelector("main").prepend(health);
}

function show() {
    showStatus();
    showHealth();
    showFlowLinks();
    if (newest !== null) listener([...devices.values()].sort((a, b) => (a.slot < b.slot ? -1 : 1)), newest);
}

/** Puts the frame around the page and calls `show` whenever there is something new, and once a second. */
export function start(show_) {
    listener = show_;
    const home = make("a", {href: "/", className: "brand"}, make("img", {src: "/icon.svg", alt: ""}), "Corvane");
    document.body.prepend(make("a", {href: "#main", className: "skip"}, "To the readings"),
                          make("header", {}, home, nav, make("div", {className: "state"}, status, clock)));
    open();
    showStatus();
    setInterval(() => {
        if (connected && now() - heardAt > SILENCE) {
            connected = false;
            open();
        }
        show();
    }, 1000);
}
