// SPDX-License-Identifier: MIT
// The time that all plots of a report share: which part of it they show, and where their cursor is.
// The controls above the plots do by keyboard what the pointer does in them.

class Timeline {
    // start_s, step_s, steps of a history; end_s: where the stream ends
    constructor({start_s: start, step_s: step, steps}, end) {
        this.start = start;
        this.step = step;
        this.steps = steps;
        // A stream that ends somewhere else, by other measures, is worth its whole steps.
        const last = start + step * steps;
        this.end = end > last - step ? Math.min(end, last) : last;
        this.starts = Array.from({length: steps + 1}, (_, i) => start + i * step);
        this.plots = [];
        this.from = start;
        this.to = this.end;
        this.at = null; // index of the step under the cursor
        this.controls = this.makeControls();
    }

    // Seconds that a step covers: the last one may end with the stream. A rate over the few packets
    // of a very short rest would only be a peak that is none.
    lengthOf(i) {
        const covered = Math.min(this.starts[i + 1], this.end) - this.starts[i];
        return covered > 0 ? Math.max(covered, this.step / 2) : this.step;
    }

    add(plot) { this.plots.push(plot); }

    zoom(from, to) {
        const least = Math.min(4 * this.step, this.end - this.start);
        const width = Math.min(Math.max(to - from, least), this.end - this.start);
        const middle = (from + to) / 2;
        this.from = Math.min(Math.max(middle - width / 2, this.start), this.end - width);
        this.to = this.from + width;
        this.plots.forEach((plot) => plot.showRange());
        this.tellRange();
    }

    // Shows a moment and what is around it.
    zoomTo(seconds) {
        const around = Math.max(10 * this.step, (this.end - this.start) / 40);
        this.zoom(seconds - around, seconds + around);
        this.setCursor(this.stepAt(seconds));
        this.controls.scrollIntoView({block: "start"});
    }

    scale(factor) {
        const [middle, half] = [(this.from + this.to) / 2, ((this.to - this.from) / 2) * factor];
        this.zoom(middle - half, middle + half);
    }

    move(share) {
        const by = (this.to - this.from) * share;
        const room = by < 0 ? this.start - this.from : this.end - this.to;
        const step = by < 0 ? Math.max(by, room) : Math.min(by, room);
        this.zoom(this.from + step, this.to + step);
    }

    stepAt(seconds) {
        return Math.min(
            Math.max(Math.floor((seconds - this.start) / this.step), 0), this.steps - 1);
    }

    // index of a step, null for none; mover: the plot in which the pointer is
    setCursor(index, mover = null) {
        if (index === this.at) return;
        this.at = index;
        this.plots.forEach((plot) => plot.showCursor(plot !== mover));
        if (index === null) return;
        this.slider.value = index;
        this.tellCursor(index);
    }

    tellCursor(index) {
        const text = timeText(this.starts[index], this.step < 1 ? 1 : 0);
        this.slider.setAttribute("aria-valuetext", text);
        this.clock.textContent = text;
    }

    tellRange() {
        const whole = this.to - this.from >= this.end - this.start;
        const decimals = this.to - this.from < 20 ? 1 : 0;
        const [from, to] = [timeText(this.from, decimals), timeText(this.to, decimals)];
        this.range.textContent = `${whole ? "all of it: " : ""}${from} to ${to}`;
        this.whole.disabled = whole;
    }

    makeControls() {
        this.slider = make("input", {
            type: "range",
            min: 0,
            max: this.steps - 1,
            value: 0,
            input: () => this.setCursor(Number(this.slider.value))
        });
        this.clock = make("output", {class: "clock"}, timeText(this.start, 1));
        this.range = make("span", {class: "range", role: "status"});
        this.whole = button("All of it", () => this.zoom(this.start, this.end));
        const controls = make(
            "div", {class: "controls"},
            make(
                "div", {class: "buttons"}, button("Zoom in", () => this.scale(0.5)),
                button("Zoom out", () => this.scale(2)), button("Earlier", () => this.move(-0.5)),
                button("Later", () => this.move(0.5)), this.whole),
            make("label", {class: "cursor"}, make("span", {}, "Cursor"), this.slider, this.clock),
            this.range);
        this.tellRange();
        return controls;
    }

    destroy() {
        this.plots.forEach((plot) => plot.destroy());
        this.plots = [];
    }
}
