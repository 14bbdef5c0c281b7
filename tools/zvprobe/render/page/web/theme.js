// SPDX-License-Identifier: MIT
// Colours and line styles of the plots, which a canvas cannot take from the style sheet by itself.
// No series is told from another by its colour alone: lines differ in their dashes, and areas have
// labels.

const darkQuery = matchMedia("(prefers-color-scheme: dark)");
let printing = false; // paper is light, whatever the screen is

const kSeriesColours = {
    light: [
        "#2b6cb0", "#c05621", "#2f855a", "#805ad5", "#b83280", "#718096", "#0e7490", "#975a16",
        "#5a67d8", "#9b2c2c", "#4d7c0f", "#86198f"
    ],
    dark: [
        "#63a4e8", "#f0955a", "#68c593", "#b59af2", "#ee82b9", "#a9b6c6", "#4fc3d9", "#d9a75a",
        "#93a0ff", "#f08080", "#a3cf5d", "#d887e0"
    ],
};
const kDashes =
    [[], [7, 4], [2, 3], [9, 3, 2, 3], [12, 5], [4, 2, 1, 2], [1, 4], [9, 3, 2, 3, 2, 3]];

function theme() {
    const dark = darkQuery.matches && !printing;
    const colours = dark ? kSeriesColours.dark : kSeriesColours.light;
    return {
        series: (number) => colours[number % colours.length],
        dash: (number) => kDashes[number % kDashes.length],
        text: dark ? "#c9d1d9" : "#3d4650",
        strong: dark ? "#f0f3f6" : "#16191d",
        halo: dark ? "#14181d" : "#ffffff",
        grid: dark ? "#2c343d" : "#e4e8ec",
        limit: dark ? "#ff8f87" : "#b42318",
        quiet: dark ? "#4b5560" : "#c4cad1",
        rest: dark ? "#6d7986" : "#97a1ac",
        first: dark ? "#ff8f87" : "#b42318",
        second: dark ? "#f0b95a" : "#a15c00",
        third: dark ? "#7fb2f0" : "#2b6cb0",
    };
}

// What is painted anew when colours change: by the reader's setting, or for paper.
const repaints = new Set();

function repaintAll() { repaints.forEach((repaint) => repaint()); }

darkQuery.addEventListener("change", repaintAll);
addEventListener("beforeprint", () => {
    printing = true;
    repaintAll();
});
addEventListener("afterprint", () => {
    printing = false;
    repaintAll();
});
