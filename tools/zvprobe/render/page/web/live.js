// SPDX-License-Identifier: MIT
// What the page of a running watch has besides the report: it shows anew what the watch knows, until
// its reader works with it, and leads to the other pages of the watch. While the watch gives no
// answer, what was known last stays.

// Shows what another load of this page has.
function takeOver(other) {
    const sources =
        isOfThisVersion(other) ? JSON.parse(other.getElementById("data").textContent).sources : [];
    if (sources.length === 0) return location.reload();
    show(unpack(sources[0]));
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
        const {status, page} = await askWatch();
        asks = false;
        if (!timer) return;
        const since = `since ${clockTime(answered)}.`;
        if (status === 404) return tell(`Not watched ${since}`);
        if (status !== 200) return tell(`No answer ${since}`);
        answered = new Date();
        takeOver(page);
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
        tell(`As of ${clockTime(answered)}.`);
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
