// SPDX-License-Identifier: MIT
// Implementation of terminal_description.h by the part of ncurses that reads the database. Apart from
// all else, because its header makes macros of words such as "lines".
#include <curses.h>
#include <term.h>

#include <algorithm>

#include "render/screen/terminal_description.h"

namespace zvprobe {
namespace {

// The description that is read while the object lives.
class Description {
  public:
    explicit Description(int fd) {
        int result = 0;
        found_ = setupterm(nullptr, fd, &result) == OK;
    }
    ~Description() {
        if (found_) del_curterm(cur_term);
    }
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;

    bool found() const { return found_; }

  private:
    bool found_;
};

// -> the text of a capability, without the pauses that terminals once needed ("$<5>")
std::string capability(const char* name) {
    const char* const found = tigetstr(name);
    std::string text = found == nullptr || found == reinterpret_cast<const char*>(-1) ? "" : found;
    for (size_t at; (at = text.find("$<")) != text.npos;)
        text.erase(at, std::min(text.find('>', at), text.size() - 1) - at + 1);
    return text;
}

}  // namespace

bool can_be_drawn_on(int fd) {
    const Description description(fd);
    return description.found() && !capability("cup").empty() && !capability("clear").empty();
}

std::string leaving_text(int fd) {
    const Description description(fd);
    if (!description.found()) return {};
    return capability("rmkx") + capability("sgr0") + capability("cnorm") + capability("rmcup");
}

}  // namespace zvprobe
