// SPDX-License-Identifier: MIT
// Reads the page's data and shows one source at a time.

const kFormats = {
    mpegts: {name: "MPEG transport stream", verdict: tsVerdict, report: tsReport},
    flv: {name: "FLV", verdict: mediaVerdict, report: flvReport},
    mpeg_audio: {name: "MPEG audio", verdict: mediaVerdict, report: audioReport},
};
const kMarks = {
    good: "\u2713",
    warn: "!",
    bad: "\u2717"
};

// Lists of many alike entries come as columns and rows, which are shorter.
function unpack(value) {
    if (Array.isArray(value)) return value.map(unpack);
    if (!value || typeof value !== "object") return value;
    if (value.columns && value.rows)
        return value.rows.map(
            (row) => Object.fromEntries(value.columns.map((name, i) => [name, row[i]])));
    return Object.fromEntries(Object.entries(value).map(([name, inner]) => [name, unpack(inner)]));
}

function verdictOf(source) {
    if (!source.format)
        return {level: "bad", text: source.error ? source.error.message : "Nothing is known."};
    const verdict = kFormats[source.format].verdict(source[source.format]);
    if (!source.error) return verdict;
    return {level: "bad", text: `${source.error.message}; up to there: ${verdict.text}`};
}

function verdictLine(source) {
    const {level, text} = verdictOf(source);
    return make(
        "p", {class: `verdict ${level}`},
        make("span", {class: "mark", "aria-hidden": "true"}, kMarks[level]), quoted(text));
}

function sourceHead(source) {
    const format = source.format ? kFormats[source.format].name : "not a known format";
    const name = nameOfPath(source.source);
    return make(
        "div", {class: "head"}, make("p", {class: "kind"}, format), make("h1", {}, quoted(name)),
        name === source.source ? null : make("p", {class: "path"}, quoted(source.source)),
        verdictLine(source),
        source.interrupted ?
            make("p", {class: "note"}, "Interrupted: the figures reach as far as was read.") :
            null);
}

let current = null; // timeline of the source that is shown

function show(source) {
    if (current) current.destroy();
    repaints.clear();
    const format = kFormats[source.format];
    const {elements, timeline} =
        format ? format.report(source[source.format]) : {elements: [], timeline: null};
    document.getElementById("report").replaceChildren(sourceHead(source), ...elements);
    document.title = `${nameOfPath(source.source)} \u2013 zvprobe`;
    current = timeline;
    if (!timeline) return;
    const draw = () => timeline.plots.forEach((plot) => plot.draw());
    draw();
    repaints.add(draw);
}

// A list of the sources, when there are several.
function chooser(sources, leftOutCount) {
    const buttons = sources.map(
        (source) => button(
            [
                make("span", {"aria-hidden": "true"}, kMarks[verdictOf(source).level] + " "),
                quoted(nameOfPath(source.source))
            ],
            (event) => choose(source, event.currentTarget),
            {class: "choice", title: `${source.source}: ${verdictOf(source).text}`}));
    const choose = (source, pressed) => {
        buttons.forEach((one) => one.removeAttribute("aria-current"));
        pressed.setAttribute("aria-current", "true");
        show(source);
    };
    if (sources.length > 1 || leftOutCount > 0)
        document.getElementById("sources").append(
            make("nav", {"aria-label": "Sources"}, buttons),
            leftOut(leftOutCount, "further sources") || "");
    choose(sources[0], buttons[0]);
}

const page = JSON.parse(document.getElementById("data").textContent);
document.getElementById("made").textContent = `zvprobe, library ${page.library_version}`;
if (page.sources.length > 0) chooser(page.sources.map(unpack), page.sources_left_out || 0);
addWatchBar(page.live);
let resizing = 0;
addEventListener("resize", () => {
    cancelAnimationFrame(resizing);
    resizing = requestAnimationFrame(() => {
        if (current) current.plots.forEach((plot) => plot.resize());
    });
});
