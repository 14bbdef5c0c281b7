// SPDX-License-Identifier: MIT
// A strip of marks: a row for each kind of event, a mark for each step in which one happened. A
// click on a mark shows what was around it.

const kRowColours = ["first", "second", "third"]; // from the top

// plan:
//   title, note
//   rows          [{label, short, counts}]: counts by step; short: what the axis says
//   onPick(row, step)   called for a mark that was clicked
class EventStrip extends Plot {
    constructor(timeline, {title, note, rows, onPick}) {
        super(timeline, {
            id: "events",
            title,
            note,
            marks: true,
            series:
                rows.map(({label, counts}, i) => ({label, highs: counts, colour: kRowColours[i]})),
            text: grouped,
            range: () => [0, rows.length],
            splits: () => rows.map((_, i) => i + 0.5),
            height: 30 + 34 * rows.length,
        });
        this.rows = rows;
        this.onPick = onPick;
    }

    options(width) {
        const options = super.options(width);
        options.axes[1].values = (u, ticks) =>
            ticks.map((tick) => this.rows[Math.floor(tick)].short).reverse();
        options.axes[1].grid.show = false;
        options.hooks.ready = [(u) => u.over.addEventListener("click", () => this.pick(u))];
        return options;
    }

    // Rows are drawn by drawOver; a count is no height here.
    chartSeries() { return this.rows.map(() => ({paths: () => null, points: {show: false}})); }

    drawOver(u, colours) {
        const {ctx, bbox} = u;
        const height = bbox.height / this.rows.length;
        this.rows.forEach(({counts}, row) => {
            const top = bbox.top + row * height;
            ctx.fillStyle = colours.grid;
            ctx.fillRect(bbox.left, top + height - devicePixelRatio, bbox.width, devicePixelRatio);
            if (!this.shown[row]) return;
            ctx.fillStyle = colours[kRowColours[row]];
            counts.forEach((count, i) => {
                if (count) this.drawMark(u, i, top + height * 0.2, height * 0.6);
            });
        });
    }

    drawMark(u, step, top, height) {
        const {starts} = this.timeline;
        const left = u.valToPos(starts[step], "x", true);
        const right = u.valToPos(starts[step + 1], "x", true);
        const width = Math.max(right - left, 3 * devicePixelRatio);
        if (right < u.bbox.left || left > u.bbox.left + u.bbox.width) return;
        u.ctx.fillRect(left, top, width, height);
    }

    // The mark of the row that is nearest to the pointer, if it is near.
    pick(u) {
        const kNear = 12; // pixels
        const row = Math.min(
            Math.floor(u.cursor.top / (u.over.clientHeight / this.rows.length)),
            this.rows.length - 1);
        let best = {distance: kNear, step: null};
        this.rows[row].counts.forEach((count, step) => {
            if (!count) return;
            const [left, right] =
                [0, 1].map((k) => u.valToPos(this.timeline.starts[step + k], "x"));
            const distance = Math.max(left - u.cursor.left, u.cursor.left - right, 0);
            if (distance < best.distance) best = {distance, step};
        });
        if (best.step !== null) this.onPick(row, best.step);
    }
}
