// SPDX-License-Identifier: MIT
// One plot on the shared timeline, with a legend that reads out the step under the cursor and hides
// series.

const kPlotHeight = 190;
const kAxisWidth = 78;

// plan:
//   id, title, note      note: a line on how to read it
//   series               [{label, lows, highs, colour, dash, joins}]; highs are what is drawn
//   stacked              series are areas one on the other, the first at the bottom
//   text(value)          how a figure is told
//   range(min, max)      of the axis, from the figures in view
//   log                  the axis is logarithmic
//   lines                [{value, text}] across the plot
//   marks                drawn as marks and no lines
class Plot {
    constructor(timeline, plan) {
        this.timeline = timeline;
        this.plan = plan;
        this.shown = plan.series.map(() => true);
        this.place = make(
            "div",
            {class: "canvas", role: "img", "aria-label": this.summary(), "data-plot": plan.id});
        this.place.view = this; // what is drawn, for whoever looks into the page by a script
        this.legend = this.makeLegend();
        this.element = make(
            "figure", {class: "plot"},
            make(
                "figcaption", {}, make("h3", {}, plan.title),
                make("p", {class: "note"}, plan.note || "")),
            this.place, this.legend);
        timeline.add(this);
    }

    // In the document only: a plot is as wide as its place.
    draw() {
        const width = this.place.clientWidth || 320;
        if (this.chart) this.chart.destroy();
        this.place.replaceChildren();
        this.chart = new uPlot(this.options(width), this.data(), this.place);
        // Painted at once: a printer does not wait.
        this.chart.batch(() => this.showRange());
    }

    resize() {
        const width = this.place.clientWidth;
        if (this.chart && width > 0 && width !== this.chart.width)
            this.chart.setSize({width, height: this.height()});
    }

    height() { return this.plan.height || kPlotHeight; }

    // uPlot's columns: times, then what is drawn. Areas are drawn from the top down, each over the
    // ones above it, so the columns of a stack are sums in reverse order.
    data() {
        const {series, stacked} = this.plan;
        const columns =
            series.map((one, i) => (this.shown[i] ? one.highs : one.highs.map(() => null)));
        if (!stacked) return [this.timeline.starts, ...columns.map(withEnd)];
        const sums = [];
        columns.forEach(
            (column, i) =>
                sums.push(column.map((value, t) => (value || 0) + (i > 0 ? sums[i - 1][t] : 0))));
        return [this.timeline.starts, ...sums.reverse().map(withEnd)];
    }

    // The place of a series in the data of the chart.
    columnOf(seriesIndex) {
        return this.plan.stacked ? this.plan.series.length - seriesIndex : seriesIndex + 1;
    }

    options(width) {
        const {plan} = this;
        const colours = theme();
        return {
            width,
            height: this.height(),
            legend: {show: false},
            // on the right half of the last time
            padding: [8, Math.max(22, 4 * shortTime(this.timeline.end, 0).length), 0, 0],
            cursor: {y: false, points: {show: false}, drag: {setScale: false}},
            scales: {x: {time: false}, y: {distr: plan.log ? 3 : 1, range: () => this.yRange()}},
            axes: [timeAxis(colours), valueAxis(plan, colours)],
            series: [{}, ...this.chartSeries(colours)],
            hooks: {
                setSelect: [(u) => this.takeSelection(u)],
                setCursor: [(u) => this.takeCursor(u)],
                draw: [(u) => this.drawOver(u, colours)]
            },
        };
    }

    // Of the figures in view; the lower ends of areas are no series of the chart.
    yRange() {
        const [first, last] =
            [this.timeline.from, this.timeline.to].map((t) => this.timeline.stepAt(t));
        const inView = (values) => values.slice(first, last + 1).filter(isKnown);
        const drawn = this.data().slice(1).flatMap(inView);
        const below =
            this.plan.series.flatMap(({lows}, i) => (lows && this.shown[i] ? inView(lows) : []));
        const [min, max] = extremesOf(drawn.concat(below));
        const [low, high] = min <= max ? this.plan.range(min, max) : [0, 1];
        return high > low ? [low, high] : [low, low + 1];
    }

    chartSeries(colours) {
        const {series, stacked} = this.plan;
        const list = series.map((one, i) => {
            const colour = one.colour ? colours[one.colour] : colours.series(i);
            if (stacked)
                return {
                    stroke: colour,
                    width: 1,
                    fill: colour,
                    paths: stepPaths({fills: true}),
                    points: {show: false}
                };
            const lowOf = one.lows ? () => (this.shown[i] ? one.lows : null) : null;
            return {
                stroke: colour,
                width: 1.75,
                dash: colours.dash(i),
                points: {show: false},
                fill: one.lows ? colour + "38" : undefined,
                paths: stepPaths({lowOf, fills: Boolean(one.lows), joins: one.joins})
            };
        });
        return stacked ? list.reverse() : list;
    }

    showRange() {
        if (this.chart) this.chart.setScale("x", {min: this.timeline.from, max: this.timeline.to});
    }

    // moves: the pointer is elsewhere
    showCursor(moves) {
        const {at, starts} = this.timeline;
        this.readOut(at);
        if (!this.chart || !moves) return;
        const left =
            at === null ? -10 : this.chart.valToPos((starts[at] + starts[at + 1]) / 2, "x");
        this.chart.setCursor({left, top: at === null ? -10 : 0}, false, false);
    }

    takeCursor(u) {
        const {left} = u.cursor;
        if (left >= 0) this.timeline.setCursor(this.timeline.stepAt(u.posToVal(left, "x")), this);
    }

    takeSelection(u) {
        const {left, width} = u.select;
        if (width < 3) return;
        u.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
        this.timeline.zoom(u.posToVal(left, "x"), u.posToVal(left + width, "x"));
    }

    drawOver(u, colours) {
        const ctx = u.ctx;
        ctx.save();
        ctx.beginPath();
        ctx.rect(u.bbox.left, u.bbox.top, u.bbox.width, u.bbox.height);
        ctx.clip();
        (this.plan.lines || []).forEach((line) => drawLine(u, line, colours));
        if (this.plan.stacked) this.plan.series.forEach((one, i) => this.labelArea(u, i, colours));
        if (this.plan.drawOver) this.plan.drawOver(u, colours);
        ctx.restore();
    }

    // Writes an area's name where it is highest, if it fits there.
    labelArea(u, index, colours) {
        if (!this.shown[index]) return;
        const column = u.data[this.columnOf(index)];
        const below = index > 0 ? u.data[this.columnOf(index - 1)] : null;
        let best = {height: 0};
        for (let i = this.timeline.stepAt(this.timeline.from);
             i <= this.timeline.stepAt(this.timeline.to); ++i) {
            const top = u.valToPos(column[i], "y", true);
            const bottom = u.valToPos(below ? below[i] : 0, "y", true);
            if (bottom - top > best.height) best = {height: bottom - top, top, at: i};
        }
        if (best.height < 15 * devicePixelRatio) return;
        const x = u.valToPos(this.timeline.starts[best.at], "x", true);
        writeOver(u, this.plan.series[index].label, x, best.top + best.height / 2, colours);
    }

    makeLegend() {
        this.values = this.plan.series.map(() => make("span", {class: "value"}));
        return make(
            "ul", {class: "legend", "aria-label": `Series of ${this.plan.title}`},
            this.plan.series.map(
                (one, i) => make(
                    "li", {},
                    button(
                        [
                            make("span", {class: "swatch", "data-series": i}, sample(this.plan, i)),
                            quoted(one.label)
                        ],
                        (event) => this.toggle(i, event.currentTarget), {"aria-pressed": "true"}),
                    this.values[i])));
    }

    toggle(index, pressed) {
        this.shown[index] = !this.shown[index];
        pressed.setAttribute("aria-pressed", this.shown[index]);
        this.chart.setData(this.data(), false);
        this.showRange();
    }

    readOut(at) {
        this.plan.series.forEach((one, i) => {
            const text = at === null ? "" : this.valueText(one, at);
            this.values[i].textContent = text;
        });
    }

    valueText({lows, highs}, at) {
        const {text} = this.plan;
        if (!isKnown(highs[at])) return kNothing;
        return lows && lows[at] !== highs[at] ? `${text(lows[at])} to ${text(highs[at])}` :
                                                text(highs[at]);
    }

    // What a screen reader says in place of the picture.
    summary() {
        const parts = this.plan.series.map(({label, lows, highs}) => {
            const known = (lows || []).concat(highs).filter(isKnown);
            if (known.length === 0) return `${label}: nothing`;
            const [least, most] = extremesOf(known);
            return `${label}: ${this.plan.text(least)} to ${this.plan.text(most)}`;
        });
        return `Plot over time. ${this.plan.title}. ${parts.join("; ")}`;
    }

    destroy() {
        if (this.chart) this.chart.destroy();
    }
}

// The last step ends where no further one begins.
function withEnd(column) { return column.concat(null); }

function extremesOf(values) {
    return values.reduce(
        ([low, high], v) => [Math.min(low, v), Math.max(high, v)], [Infinity, -Infinity]);
}

function timeAxis(colours) {
    return {
        stroke: colours.text,
        grid: {stroke: colours.grid, width: 1},
        ticks: {show: false},
        font: "12px system-ui, sans-serif",
        size: 30,
        space: 76,
        values: (u, ticks) => {
            const decimals = ticks.length > 1 && ticks[1] - ticks[0] < 1 ? 1 : 0;
            return ticks.map((tick) => shortTime(tick, decimals));
        }
    };
}

function valueAxis(plan, colours) {
    const values = (u, ticks) => ticks.map((tick) => (isKnown(tick) ? plan.text(tick) : ""));
    return {
        stroke: colours.text,
        grid: {stroke: colours.grid, width: 1},
        ticks: {show: false},
        font: "12px system-ui, sans-serif",
        size: kAxisWidth,
        values,
        ...(plan.splits ? {splits: plan.splits} : {})
    };
}

function drawLine(u, {value, text}, colours) {
    if (value < u.scales.y.min || value > u.scales.y.max) return;
    const y = Math.round(u.valToPos(value, "y", true));
    u.ctx.strokeStyle = colours.limit;
    u.ctx.lineWidth = devicePixelRatio;
    u.ctx.setLineDash([4 * devicePixelRatio, 3 * devicePixelRatio]);
    u.ctx.beginPath();
    u.ctx.moveTo(u.bbox.left, y);
    u.ctx.lineTo(u.bbox.left + u.bbox.width, y);
    u.ctx.stroke();
    u.ctx.setLineDash([]);
    const above = y - u.bbox.top > 20 * devicePixelRatio;
    writeOver(
        u, text, u.bbox.left + u.bbox.width, y + (above ? -9 : 9) * devicePixelRatio, colours);
}

// Text inside the plot, readable over anything.
function writeOver(u, text, x, y, colours) {
    const {ctx, bbox} = u;
    ctx.font = `${12 * devicePixelRatio}px system-ui, sans-serif`;
    const width = ctx.measureText(text).width + 8 * devicePixelRatio;
    const left =
        Math.max(bbox.left + 4 * devicePixelRatio, Math.min(x, bbox.left + bbox.width - width));
    ctx.textAlign = "left";
    ctx.textBaseline = "middle";
    ctx.lineWidth = 3 * devicePixelRatio;
    ctx.strokeStyle = colours.halo;
    ctx.fillStyle = colours.strong;
    ctx.lineJoin = "round";
    ctx.strokeText(text, left, y);
    ctx.fillText(text, left, y);
}

const kSvg = "http://www.w3.org/2000/svg";

// A piece of a series as it looks in the plot, in colours that follow the reader's setting.
function sample(plan, index) {
    const svg = document.createElementNS(kSvg, "svg");
    svg.setAttribute("viewBox", "0 0 28 12");
    svg.setAttribute("aria-hidden", "true");
    const isArea = plan.stacked || plan.marks;
    const paint = () => {
        const colours = theme();
        const one = plan.series[index];
        const colour = one.colour ? colours[one.colour] : colours.series(index);
        const shape = document.createElementNS(kSvg, isArea ? "rect" : "line");
        const attributes = isArea ? {x: 8, y: 0, width: 12, height: 12, fill: colour} : {
            x1: 0,
            y1: 6,
            x2: 28,
            y2: 6,
            stroke: colour,
            "stroke-width": 2.5,
            "stroke-dasharray": colours.dash(index).join(" ")
        };
        Object.entries(attributes).forEach(([name, value]) => shape.setAttribute(name, value));
        svg.replaceChildren(shape);
    };
    paint();
    repaints.add(paint);
    return svg;
}
