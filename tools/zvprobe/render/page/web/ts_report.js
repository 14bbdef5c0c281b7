// SPDX-License-Identifier: MIT
// The report about a transport stream.

function tsVerdict({tr101290, clock}) {
    const counting = tr101290.filter((one) => one.count > 0);
    const worst = counting.length === 0 ? 0 : Math.min(...counting.map((one) => one.priority));
    const named = counting.filter((one) => one.priority === worst)
                      .sort((a, b) => b.count - a.count)
                      .slice(0, 3)
                      .map((one) => `${one.name} (${one.id}) \u00d7 ${grouped(one.count)}`);
    const rest = counting.length - named.length;
    const list = named.join(", ") +
        (rest > 0 ? `, and ${counted(rest, "more indicator", "more indicators")}` : "");
    if (worst === 1) return {level: "bad", text: `Damaged: ${list}.`};
    if (worst === 2) return {level: "warn", text: `Faults that receivers may notice: ${list}.`};
    if (worst === 3)
        return {level: "good", text: `Decodable. Of the third priority only: ${list}.`};
    const measured = tr101290.filter((one) => one.measured).length;
    const scope = clock.source === "none" ? "; without a clock only" : ",";
    return {
        level: "good",
        text: `No error found${scope} ${measured} of ${tr101290.length} indicators measured.`
    };
}

function clockText({source, pcr_pid: pid}) {
    if (source === "none") return "none: no PCR";
    return source === "pcr" ? `PCR of PID ${pidText(pid)}` : "arrival";
}

function tsFacts(report) {
    const {clock, sync} = report;
    const kind = {true: "constant", false: "variable"}[clock.constant_rate];
    return facts([
        ["Duration", isKnown(clock.duration_s) ? timeText(clock.duration_s) : null],
        [
            "Bit rate",
            isKnown(clock.bit_rate_bps) ? rateText(clock.bit_rate_bps) + (kind ? `, ${kind}` : "") :
                                                                                 null
        ],
        [
            "Size",
            `${bytesText(report.bytes)}, ${counted(report.packets, "packet", "packets")} of ${
                report.packet_size} bytes`
        ],
        ["Null packets", shareText(report.null_packets, report.packets)],
        ["Clock", clockText(clock)],
        [
            "Stream",
            isKnown(report.transport_stream_id) ?
                `transport_stream_id ${report.transport_stream_id}` :
                null
        ],
        [
            "Network",
            report.network ?
                [
                    report.network.name ? quoted(report.network.name) : "",
                    ` ${report.network.network_id}`
                ] :
                null
        ],
        ["Time sent", report.utc ? `${report.utc.first} to ${report.utc.last}` : null],
        [
            "Sync losses",
            sync.losses || sync.skipped_bytes ?
                `${grouped(sync.losses)}, ${counted(sync.skipped_bytes, "byte", "bytes")} skipped` :
                null
        ],
        [
            "Marked as damaged",
            report.transport_errors ? counted(report.transport_errors, "packet", "packets") : null
        ],
        [
            "After the last packet",
            report.trailing_bytes ? counted(report.trailing_bytes, "byte", "bytes") : null
        ],
    ]);
}

function videoText(d) {
    const rate = isKnown(d.frame_rate) ? ` ${Number(d.frame_rate.toFixed(3))} fps` : "";
    const size = d.width ? ` ${d.width}\u00d7${d.height}${d.interlaced ? "i" : "p"}` : "";
    const depth = isKnown(d.bit_depth) && d.bit_depth !== 8 ? ` ${d.bit_depth} bit` : "";
    return `${d.profile || ""}${d.level ? "@" + d.level : ""}${size}${rate}${depth}`;
}

function audioText(d) {
    const parts = [
        d.profile, d.sample_rate ? `${d.sample_rate / 1000} kHz` : null,
        d.channels ? counted(d.channels, "channel", "channels") : null,
        isKnown(d.bit_rate_bps) ? rateText(d.bit_rate_bps) : null
    ];
    return parts.filter(Boolean).join(" ");
}

function detailText({kind, details}) {
    if (!details) return "";
    return kind === "video" ? videoText(details) : audioText(details);
}

function errorsOf(pid) { return pid.cc_errors + pid.transport_errors + pid.crc_errors; }

function streamLine(stream, pids) {
    const pid = pids.find((one) => one.pid === stream.pid);
    const errors = pid ? errorsOf(pid) : 0;
    return make(
        "li", {}, make("code", {}, pidText(stream.pid)), ` ${stream.kind}: `,
        make("b", {}, stream.codec || `type ${pidText(stream.stream_type)}`),
        ` ${detailText(stream)}`,
        stream.languages.length ? [" (", quoted(stream.languages.join(", ")), ")"] : null,
        pid ? ` ${rateText(pid.bit_rate_bps)}` : " \u2717 never came",
        errors > 0 ?
            make("span", {class: "fault"}, ` \u2717 ${counted(errors, "error", "errors")}`) :
            null);
}

function showOn(label, event) {
    if (!event) return null;
    const length = isKnown(event.duration_s) ? `, ${Math.round(event.duration_s / 60)} min` : "";
    return make(
        "li", {class: "event"}, `${label}: `, make("b", {}, quoted(event.title || "untitled")),
        event.start ? ` ${event.start}${length}` : "");
}

function programLine(program, pids) {
    const {service} = program;
    const pmt = program.pcr_pid === null && !isKnown(program.pmt_version) ?
        "PMT never came" :
        `PMT ${pidText(program.pmt_pid)}, PCR ${pidText(program.pcr_pid)}`;
    const title = make(
        "summary", {}, make("b", {}, `Programme ${program.program_number}`),
        service && service.name ? [" ", quoted(service.name)] : null,
        service && service.provider ? [", ", quoted(service.provider)] : null,
        service && service.type_name ? `, ${service.type_name}` : "",
        isKnown(program.bit_rate_bps) ? `, ${rateText(program.bit_rate_bps)}` : "",
        program.scrambled ? ", scrambled" : "");
    return make(
        "li", {},
        make(
            "details", {open: true}, title,
            make(
                "ul", {}, make("li", {class: "note"}, pmt), showOn("Now", program.now),
                showOn("Next", program.next),
                program.streams.map((stream) => streamLine(stream, pids)))));
}

function programTree({programs, programs_left_out: more, pids}) {
    if (programs.length === 0) return make("p", {}, "No programme is announced.");
    return [
        make("ul", {class: "tree"}, programs.map((program) => programLine(program, pids))),
        leftOut(more, "further programmes")
    ];
}

const kKinds = ["video", "audio", "subtitle", "data", "sections"];

function kindOf({use}) {
    if (kKinds.includes(use)) return use;
    if (use === "null" || use === "pcr" || use === "unreferenced") return use;
    return "tables";
}

function pidTable(report) {
    const {pids, programs, packets} = report;
    const number = (title, value, text = grouped) =>
        ({title, value, cell: (row) => text(value(row)), right: true});
    const columns = [
        {
            title: "PID",
            value: (row) => row.pid,
            cell: (row) => make("code", {title: row.pid}, pidText(row.pid))
        },
        {title: "Use", value: (row) => row.use},
        {title: "Codec", value: (row) => row.codec},
        {title: "Programmes", value: (row) => row.programs.join(", ")},
        number("Packets", (row) => row.packets),
        number("Share", (row) => row.packets, (n) => shareText(n, packets)),
        number("Bit rate", (row) => row.bit_rate_bps, rateText),
        number("Continuity errors", (row) => row.cc_errors),
        number("Lost", (row) => row.lost),
        number("Damaged", (row) => row.transport_errors),
        number("Wrong CRC", (row) => row.crc_errors),
        number("Scrambled", (row) => row.scrambled_packets),
        number("PCR interval, longest", (row) => row.pcr_max_ms, msText),
        number("Ahead of the clock, least", (row) => row.ahead_min_ms, msText),
        number("First", (row) => row.first_s, timeText),
        number("Last", (row) => row.last_s, timeText),
    ];
    const kinds = [...new Set(pids.map(kindOf))].sort();
    const filters = makeFilters({
        texts: (row) => `${pidText(row.pid)} ${row.pid} ${row.use} ${row.codec || ""}`,
        choices: [
            {
                label: "Programme",
                has: (row, value) => row.programs.includes(Number(value)),
                options: programs.map(
                    ({program_number: n,
                      service}) => [n, service && service.name ? `${n} ${service.name}` : `${n}`])
            },
            {
                label: "Kind",
                options: kinds.map((kind) => [kind, kind]),
                has: (row, value) => kindOf(row) === value
            },
        ],
        marks: [{label: "with errors only", has: (row) => errorsOf(row) > 0}],
    });
    return [
        dataTable("PIDs", columns, pids, filters),
        leftOut(report.pids_left_out, "further PIDs, with fewer errors and packets,")
    ];
}

function tableTable({tables, tables_left_out: more}) {
    const time = (title, value) => ({title, value, cell: (row) => msText(value(row)), right: true});
    return [
        dataTable(
            "Tables",
            [
                {title: "Table", value: (row) => row.name || `table ${pidText(row.table_id)}`},
                {
                    title: "PID",
                    value: (row) => row.pid,
                    cell: (row) => make("code", {}, pidText(row.pid))
                },
                {
                    title: "table_id",
                    value: (row) => row.table_id,
                    cell: (row) => make("code", {}, pidText(row.table_id))
                },
                {title: "Extension", value: (row) => row.extension, right: true},
                {title: "Versions", value: (row) => row.versions.join(", ")},
                {
                    title: "Sections",
                    value: (row) => row.sections,
                    cell: (row) => grouped(row.sections),
                    right: true
                },
                time("Interval, least", (row) => row.interval_min_ms),
                time("mean", (row) => row.interval_mean_ms),
                time("longest", (row) => row.interval_max_ms),
            ],
            tables),
        leftOut(more, "further tables")
    ];
}

function eventTable({events}, goToOf) {
    if (events.total === 0) return make("p", {}, "Nothing happened.");
    const kinds = [...new Set(events.list.map((row) => row.kind))].sort();
    const filters = makeFilters({
        texts: (row) => `${pidText(row.pid)} ${row.kind} ${row.indicator || ""} ${row.message}`,
        choices: [{
            label: "Kind",
            options: kinds.map((kind) => [kind, kind]),
            has: (row, value) => row.kind === value
        }],
    });
    return [
        dataTable(
            "Events",
            [
                {
                    title: "Time",
                    value: (row) => row.time_s,
                    cell: (row) => timeLink(row.time_s, goToOf(row.time_s))
                },
                {title: "Indicator", value: (row) => row.indicator},
                {title: "Kind", value: (row) => row.kind},
                {title: "PID", value: (row) => row.pid, cell: (row) => pidText(row.pid)},
                {
                    title: "Byte",
                    value: (row) => row.offset,
                    cell: (row) => grouped(row.offset),
                    right: true
                },
                {title: "What", value: (row) => row.message, cell: (row) => quoted(row.message)},
            ],
            events.list, filters),
        leftOut(events.total - events.list.length, "further events")
    ];
}

// Of a stream that is watched the plots have the latest time only.
function windowNote(timeline) {
    if (timeline.start === 0) return null;
    const length = timeText(timeline.end - timeline.start, 0);
    return make(
        "p", {class: "note"},
        `The plots show the last ${length}. Figures and tables are of all ` +
            "that came, and every time is counted from the first packet.");
}

// -> {elements, timeline (null without a clock)}
function tsReport(report) {
    const {history, clock} = report;
    const timeline = history && history.steps > 0 ?
        new Timeline(history, isKnown(clock.duration_s) ? clock.duration_s : 0) :
        null;
    const goTo = timeline ? (seconds) => timeline.zoomTo(seconds) : null;
    // What was before the plots begin is no place in them.
    const goToOf = (seconds) =>
        timeline && timeline.start > 0 && seconds < timeline.start ? null : goTo;
    const time = timeline ?
        [
            windowNote(timeline), timeline.controls,
            tsPlots(report, timeline).map((plot) => plot.element)
        ] :
        make(
            "p", {},
            report.history_left_out ? "There was no room for plots in this page." :
                                      "Without a clock there is no time to plot against.");
    return {
        timeline,
        elements: [
            tsFacts(report),
            section("Programmes", programTree(report)),
            section("Over time", time),
            section("TR 101 290", indicatorTable(report.tr101290, clock, goToOf)),
            section("PIDs", pidTable(report)),
            section("Tables", tableTable(report)),
            section("Events", eventTable(report, goToOf)),
        ]
    };
}
