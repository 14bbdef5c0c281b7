// SPDX-License-Identifier: MIT
// How a page of a watch learns what the watch knows now: it asks for itself again. It is not loaded
// again, as the error page of a browser would stay for ever.

const kPatience_ms = 20000;
const kOwnScript = document.currentScript.textContent;

// Another version of the page has another script, and where a proxy wants to know its user first
// there is none of ours: such a page has to be loaded in place of this one.
function isOfThisVersion(page) {
    return [...page.scripts].some((script) => script.textContent === kOwnScript);
}

// -> the status and the page as the watch has it now; status 0 for no answer
async function askWatch() {
    try {
        const signal = AbortSignal.timeout(kPatience_ms);
        const answer = await fetch(location.href, {cache: "no-store", signal});
        const page = new DOMParser().parseFromString(await answer.text(), "text/html");
        return {status: answer.status, page};
    } catch {
        return {status: 0, page: null};
    }
}

function clockTime(date) { return date.toLocaleTimeString([], {hourCycle: "h23"}); }
