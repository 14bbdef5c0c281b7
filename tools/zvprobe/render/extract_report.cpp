// SPDX-License-Identifier: MIT
// Implementation of extract_report.h.
#include "render/extract_report.h"

#include <string>

#include "base/texts.h"
#include "render/text_parts.h"

namespace zvprobe {
namespace {

std::string programmes_text(const Extracted& result) {
    std::string text;
    for (const uint16_t program : result.programs)
        text += (text.empty() ? "" : "+") + std::to_string(program);
    return text;
}

void add_count(std::string& text, uint64_t count, const char* one, const char* many) {
    if (count > 0) text += (text.empty() ? "" : ", ") + counted(count, one, many);
}

// -> what is wrong with a file; empty when nothing is
std::string faults_of(const Extracted& result) {
    const char* const damaged = result.sections ? "with a wrong CRC" : "damaged";
    std::string text;
    add_count(text, result.units.damaged, damaged, damaged);
    add_count(text, result.units.left_out, "without a beginning", "without a beginning");
    add_count(text, result.units.scrambled, "scrambled", "scrambled");
    add_count(text, result.units.surplus_bytes, "surplus byte", "surplus bytes");
    add_count(text, result.packets_lost, "packet lost", "packets lost");
    add_count(text, result.scrambled_packets, "packet scrambled", "packets scrambled");
    return text;
}

std::string why_left_out(const Extracted& result) {
    if (result.scrambled_packets > 0 || result.units.scrambled > 0) return "scrambled, left out";
    if (result.sections_not_wanted) return "in sections, left out without --sections";
    if (result.packets == 0) return "left out, no packets came";
    return "left out, no PES packets";
}

std::string label_of(const Extracted& result, const PathOf& path_of) {
    if (!result.name.empty()) return printable(path_of(result.name));
    const std::string what = result.what.empty() ? "" : " (" + result.what + ")";
    return "PID " + pid_text(result.pid) + what;
}

std::string units_text(const Extracted& result) {
    return result.sections ? counted(result.units.units, "section", "sections")
                           : counted(result.units.units, "unit", "units");
}

void print_line(std::ostream& out, const Extracted& result, const std::string& label) {
    out << label << ": ";
    if (result.name.empty()) {
        out << why_left_out(result) << '\n';
        return;
    }
    out << counted(result.bytes, "byte", "bytes") << ", " << units_text(result);
    const std::string programmes = programmes_text(result), faults = faults_of(result);
    if (!programmes.empty()) out << ", programme " << programmes;
    out << (faults.empty() ? "" : ", ") << faults << '\n';
}

}  // namespace

void print_extracted(std::ostream& out, const std::vector<Extracted>& results,
                     const PathOf& path_of, const TextOptions& options) {
    Columns table;
    table.add({"name", "size", "units", "programme", "faults"});
    for (const Extracted& result : results) {
        const std::string label = label_of(result, path_of);
        if (!options.laid_out) {
            print_line(out, result, label);
        } else if (result.name.empty()) {
            table.add({label, "", "", programmes_text(result), why_left_out(result)});
        } else {
            table.add({label, counted(result.bytes, "byte", "bytes"), units_text(result),
                       programmes_text(result), faults_of(result)});
        }
    }
    if (options.laid_out) table.print(out, options.style, "files");
}

}  // namespace zvprobe
