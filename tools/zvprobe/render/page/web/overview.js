// SPDX-License-Identifier: MIT
// The overview of a watch shows anew what the watch knows, and says since when there is no answer.

const kRenewal_ms = 5000;

// Replaces no more than what differs, so that the focus and a selection stay, and a click that has
// begun ends on the link it began on. What holds other elements has neither text nor attributes of
// its own that change.
function bringUpToDate(shown, now) {
    if (shown.isEqualNode(now)) return;
    const count = shown.children.length;
    if (count === 0 || count !== now.children.length) return shown.replaceWith(now);
    const fresh = [...now.children]; // those that are taken over leave the list
    [...shown.children].forEach((child, i) => bringUpToDate(child, fresh[i]));
}

let answered = new Date();

function showAnswer({status, page}) {
    if (status !== 200) {
        document.title = "no answer - zvprobe";
        const text = `No answer since ${clockTime(answered)}`;
        const note = document.getElementById("note");
        if (note.textContent !== text) note.textContent = text;
        return;
    }
    answered = new Date();
    if (!isOfThisVersion(page)) return location.reload();
    for (const part of ["title", "style", "body"])
        bringUpToDate(document.querySelector(part), page.querySelector(part));
}

// A tab that is not seen goes on: its title tells how many are away.
async function renew() {
    showAnswer(await askWatch());
    setTimeout(renew, kRenewal_ms);
}

setTimeout(renew, kRenewal_ms);
