// SPDX-License-Identifier: MIT
// What the indicators of ETSI TR 101 290 mean to who looks at a picture, and why one of them may
// not be measured.

const kMeanings = {
    "1.1": "No packets are found any more: picture and sound stop.",
    "1.2": "A packet does not begin with 0x47: it is lost.",
    "1.3.a": "The list of programmes comes too seldom, or is wrong: tuning is slow or fails.",
    "1.4":
        "Packets are lost, repeated or out of order: blocks in the picture, clicks in the sound.",
    "1.5.a": "The map of a programme comes too seldom: changing to it is slow or fails.",
    "1.6": "A stream that a programme names stays away: no picture, or no sound.",
    "2.1": "Packets are marked as damaged on their way here.",
    "2.2": "The checksum of a table is wrong: what the table says is not believed.",
    "2.3.a": "The clock's values come too seldom: a receiver locks slowly.",
    "2.3.b": "The clock jumps without a signal: picture and sound stumble.",
    "2.4": "The clock's values are early or late: the receiver's own clock wavers.",
    "2.5": "Time stamps come too seldom: picture and sound drift apart.",
    "2.6": "Scrambled packets without the table that leads to their keys: nothing is shown.",
    "3.1.a": "The table about this network comes too seldom, or too often: scanning finds less.",
    "3.1.b": "The table about another network comes too seldom.",
    "3.2": "Tables about bouquets or local time come too seldom.",
    "3.3": "A decoder's buffers run over or empty.",
    "3.4.a": "A PID comes that no table names: rate without a use.",
    "3.5.a": "The names of this stream's services come too seldom, or too often.",
    "3.5.b": "The names of another stream's services come too seldom.",
    "3.6.a": "What is on now and next comes too seldom, or too often.",
    "3.6.b": "What is on now and next elsewhere comes too seldom.",
    "3.6.c": "Of now and next only one comes.",
    "3.7": "Something else is sent in place of running status, or it comes too often.",
    "3.8": "Date and time come too seldom: guides and recordings are off.",
    "3.9": "A decoder's buffer does not run empty once a second, as it should.",
    "3.10": "Data waits too long in a decoder's buffer.",
};

const kNeedDecoder = ["3.3", "3.9", "3.10"];

function whyNotMeasured(id, clock) {
    if (kNeedDecoder.includes(id)) return "not measured: needs a model of the decoder";
    if (clock.source === "none") return "not measured: the stream has no clock (PCR)";
    if (clock.source === "arrival") return "not measured: time is that of arrival";
    return clock.constant_rate === null ? "not measured: too few PCRs" :
                                          "not measured: the rate is not constant";
}

const kPriorities = [
    null, "First priority: can it be decoded?", "Second priority: is it sound?",
    "Third priority: does the rest fit?"
];

// Groups of a table, one for each priority. goToOf: gives what is called with a time that was chosen
function indicatorTable(indicators, clock, goToOf) {
    const head = ["Indicator", "What it means", "Count", "First", "Last"].map(
        (title, i) => make("th", {scope: "col", class: i === 2 ? "right" : null}, title));
    const groups = [1, 2, 3].map(
        (priority) => make(
            "tbody", {},
            make(
                "tr", {},
                make("th", {scope: "rowgroup", colspan: 5, class: "group"}, kPriorities[priority])),
            indicators.filter((i) => i.priority === priority)
                .map((i) => indicatorRow(i, clock, goToOf))));
    const caption = "Indicators of ETSI TR 101 290";
    return scrollable(
        caption,
        make(
            "table", {class: "indicators"}, make("caption", {}, caption),
            make("thead", {}, make("tr", {}, head)), groups));
}

function indicatorRow(indicator, clock, goToOf) {
    const {id, name, measured, count} = indicator;
    const title = make("th", {scope: "row"}, `${id} `, make("span", {class: "name"}, name));
    const meaning = make("td", {class: "wide"}, kMeanings[id] || "");
    if (!measured)
        return make(
            "tr", {class: "quiet"}, title, meaning,
            make("td", {colspan: 3}, whyNotMeasured(id, clock)));
    const mark = count > 0 ? "\u2717 " : "\u2713 ";
    return make(
        "tr", {class: count > 0 ? "bad" : null}, title, meaning,
        make("td", {class: "right"}, make("span", {"aria-hidden": "true"}, mark), grouped(count)),
        make("td", {}, timeLink(indicator.first_s, goToOf(indicator.first_s))),
        make("td", {}, timeLink(indicator.last_s, goToOf(indicator.last_s))));
}

// A time that leads to its place in the plots; without plots it is only a time.
function timeLink(seconds, goTo) {
    if (!isKnown(seconds) || !goTo) return timeText(seconds);
    return button(
        timeText(seconds), () => goTo(seconds), {class: "link", title: "Show in the plots"});
}
