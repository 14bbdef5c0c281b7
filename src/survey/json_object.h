// SPDX-License-Identifier: MIT
// Writes a JSON object member by member, lists entry by entry.
#pragma once

#include <cmath>
#include <cstdint>

#include "survey/json.h"
#include "survey/json_text.h"

namespace zv::survey {

// What is no number is not known.
inline Json number_or_null(double value) {
    return std::isfinite(value) ? Json(value) : Json();
}

class ObjectWriter {
  public:
    explicit ObjectWriter(const WriteText& write) : write_(write) { write_("{"); }

    void member(const char* name, const Json& value) {
        begin(name);
        write_(value.text());
    }

    // each(add) calls add(Json) for every entry.
    template <typename Each>
    void list(const char* name, Each each) {
        begin(name);
        write_("[");
        bool first = true;
        each([&](const Json& entry) {
            if (!first) write_(",");
            first = false;
            write_(entry.text());
        });
        write_("]");
    }

    // fill(object) writes the members of an object within this one.
    template <typename Fill>
    void object(const char* name, Fill fill) {
        begin(name);
        ObjectWriter inner(write_);
        fill(inner);
        inner.end();
    }

    // How many entries the list before lacks.
    void left_out(const char* name, uint64_t count) {
        if (count > 0) member(name, count);
    }

    void end() { write_("}"); }

  private:
    void begin(const char* name) {
        if (!first_) write_(",");
        first_ = false;
        write_("\"");
        write_(name);
        write_("\":");
    }

    const WriteText& write_;
    bool first_ = true;
};

}  // namespace zv::survey
