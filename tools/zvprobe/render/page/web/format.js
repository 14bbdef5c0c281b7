// SPDX-License-Identifier: MIT
// Figures as people read them. What is not known is a dash.

const kNothing = "\u2013";

function isKnown(value) { return value !== null && value !== undefined; }

function grouped(value) {
    return isKnown(value) ? String(value).replace(/\B(?=(\d{3})+$)/g, "\u202f") : kNothing;
}

function pidText(pid) { return isKnown(pid) ? "0x" + pid.toString(16) : kNothing; }

// As many decimals as make three digits.
function threeDigits(value) {
    const size = Math.abs(value);
    return value.toFixed(size >= 100 || size === 0 ? 0 : size >= 10 ? 1 : 2);
}

function rateText(bps) {
    if (!isKnown(bps)) return kNothing;
    if (bps >= 1e6) return threeDigits(bps / 1e6) + " Mbit/s";
    if (bps >= 1e3) return threeDigits(bps / 1e3) + " kbit/s";
    return threeDigits(bps) + " bit/s";
}

function bytesText(bytes) {
    if (bytes >= 1e9) return threeDigits(bytes / 1e9) + " GB";
    if (bytes >= 1e6) return threeDigits(bytes / 1e6) + " MB";
    if (bytes >= 1e3) return threeDigits(bytes / 1e3) + " kB";
    return grouped(bytes) + " bytes";
}

function msText(ms) {
    if (!isKnown(ms)) return kNothing;
    return Math.abs(ms) >= 10000 ? threeDigits(ms / 1000) + " s" : threeDigits(ms) + " ms";
}

function nsText(ns) { return isKnown(ns) ? threeDigits(ns) + " ns" : kNothing; }

function shareText(part, whole) {
    return whole > 0 && isKnown(part) ? ((100 * part) / whole).toFixed(1) + "%" : kNothing;
}

// decimals of the seconds: 3 unless told otherwise
function timeText(seconds, decimals = 3) {
    if (!isKnown(seconds)) return kNothing;
    const unit = 10 ** decimals;
    const whole = Math.round(Math.abs(seconds) * unit);
    const rest = ((whole / unit) % 60).toFixed(decimals).padStart(decimals ? decimals + 3 : 2, "0");
    const minutes = Math.floor(whole / unit / 60);
    const sign = seconds < 0 && whole > 0 ? "\u2212" : "";
    return `${sign}${Math.floor(minutes / 60)}:${String(minutes % 60).padStart(2, "0")}:${rest}`;
}

// On an axis, where hours would only take room in most streams.
function shortTime(seconds, decimals) {
    const text = timeText(seconds, decimals);
    return text.startsWith("0:") ? text.slice(2).replace(/^0/, "") : text;
}

// "2 of them" and "1 of it"
function counted(count, one, many) { return `${grouped(count)} ${count === 1 ? one : many}`; }

function nameOfPath(path) { return path.replace(/\/+$/, "").split("/").pop() || path; }
