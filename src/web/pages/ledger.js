// What happened to the counters: doubtful carries as they come, all else as it was when the page was opened.
import {make, setText, start} from "/live.js";

const doubts = document.querySelector("#doubts");
const empty = document.querySelector("#empty");
const table = document.querySelector("#entries");
let shown = "";

function place(entry) {
    if (entry.slot === null) return "";
    const counter = entry.channel === null ? "" : ` ${entry.channel}${entry.polarized ? " polarized" : ""}`;
    return `Device ${entry.slot}${counter}`;
}

function row(entry) {
    const cells = [entry.time, place(entry), entry.text, entry.judgement];
    return make("tr", {className: entry.undone ? "" : entry.judgement}, ...cells.map((text) => make("td", {}, text)));
}

function tell(text) {
    setText(empty, text);
    empty.hidden = text === "";
}

async function load() {
    try {
        const answer = await (await fetch("/ledger.json")).json();
        if (answer.error) return tell(`The ledger cannot be read: ${answer.error}`);
        tell(answer.entries.length === 0 ? "The ledger has no entries." : "");
        table.tBodies[0].replaceChildren(...answer.entries.reverse().map(row));
        table.hidden = answer.entries.length === 0;
    } catch {
        tell("The ledger cannot be read now.");
    }
}

/** The doubtful carries of the live data; when they change, the table does. */
function show(devices, {ledger}) {
    const key = JSON.stringify(ledger);
    if (key === shown) return;
    shown = key;
    const texts = ledger.doubtful.map((entry) => entry.text);
    if (ledger.problem !== "") texts.push(ledger.problem);
    doubts.replaceChildren(...texts.map((text) => make("p", {className: "notice"}, text)));
    load();
}

start(show);
