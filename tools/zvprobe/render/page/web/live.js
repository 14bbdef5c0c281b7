// SPDX-License-Identifier: MIT
// What the page of a running watch has besides the report: it loads itself again, until its reader
// works with it, and leads to the other pages of the watch.

// live: {renew_s, all, json}: seconds, and paths of the list of sources and of the same as JSON
function watchBar(live) {
    const timer = setInterval(() => {
        if (!document.hidden) location.reload();
    }, live.renew_s * 1000);
    const note = make("span", {role: "status"}, `Renewed every ${live.renew_s} seconds.`);
    // A zoom, a filter or a place in a table would be gone with the next load.
    const stop = () => {
        clearInterval(timer);
        note.textContent = `As of ${new Date().toLocaleTimeString()}.`;
        renew.textContent = "Renew";
    };
    const renew = button("Stop", () => {
        if (renew.textContent === "Renew") return location.reload();
        stop();
    });
    for (const event of ["pointerdown", "keydown"])
        document.getElementById("report").addEventListener(event, stop, {once: true});
    return make(
        "nav", {class: "watch", "aria-label": "Watch"}, make("a", {href: live.all}, "All sources"),
        make("a", {href: live.json}, "JSON"), note, renew);
}

// A page that was saved stays as it is.
function addWatchBar(live) {
    if (!live || !location.protocol.startsWith("http")) return;
    document.getElementById("sources").before(watchBar(live));
}
