// SPDX-License-Identifier: MIT
// What the page of a running watch has besides the report: it shows anew what the watch knows, until its
// reader works with it, and leads to the other pages of the watch. It is never left for one that may not
// come: while the watch gives no answer, what was known last stays.

const kPatience_ms = 20000;

// Shows what another load of this page has. One of another version has other scripts, and is no page of a
// report where a proxy wants to know its user first: then it is loaded in place of this one.
function takeOver(html) {
    const other = new DOMParser().parseFromString(html, "text/html");
    const data = other.getElementById("data");
    const script = (page) => page.scripts.length === 2 ? page.scripts[1].textContent : null;
    const sources =
        data && script(other) === script(document) ? JSON.parse(data.textContent).sources : [];
    if (sources.length === 0) return location.reload();
    show(unpack(sources[0]));
}

// -> the status and the text of this page as the watch has it now; 0 for no answer
async function askWatch() {
    try {
        const signal = AbortSignal.timeout(kPatience_ms);
        const answer = await fetch(location.href, {cache: "no-store", signal});
        return {status: answer.status, text: await answer.text()};
    } catch {
        return {status: 0, text: ""};
    }
}

// live: {renew_s, all, json}: seconds, and paths of the list of sources and of the same as JSON
function watchBar(live) {
    const note = make("span", {role: "status"});
    const report = document.getElementById("report");
    let timer = null; // while it is renewed
    let asks = false;
    let answered = new Date();
    const tell = (text) => {
        if (note.textContent !== text) note.textContent = text;
    };
    const renew = async () => {
        if (document.hidden || asks) return;
        asks = true;
        const {status, text} = await askWatch();
        asks = false;
        if (!timer) return;
        const since = `since ${answered.toLocaleTimeString()}.`;
        if (status === 404) return tell(`Not watched ${since}`);
        if (status !== 200) return tell(`No answer ${since}`);
        answered = new Date();
        takeOver(text);
        tell(`Renewed every ${live.renew_s} seconds.`);
    };
    const start = () => {
        timer = setInterval(renew, live.renew_s * 1000);
        tell(`Renewed every ${live.renew_s} seconds.`);
        toggle.textContent = "Stop";
    };
    // A zoom, a filter or a place in a table would be gone with the next report.
    const stop = () => {
        if (!timer) return;
        clearInterval(timer);
        timer = null;
        tell(`As of ${answered.toLocaleTimeString()}.`);
        toggle.textContent = "Renew";
    };
    const toggle = button("", () => {
        if (timer) return stop();
        start();
        renew();
    });
    for (const event of ["pointerdown", "keydown"])
        report.addEventListener(event, stop);
    start();
    return make(
        "nav", {class: "watch", "aria-label": "Watch"}, make("a", {href: live.all}, "All sources"),
        make("a", {href: live.json}, "JSON"), note, toggle);
}

// A page that was saved stays as it is.
function addWatchBar(live) {
    if (!live || !location.protocol.startsWith("http")) return;
    document.getElementById("sources").before(watchBar(live));
}
