// SPDX-License-Identifier: MIT
// Implementation of screen.h by ncurses.
#include <curses.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <string>

#include "render/screen/screen.h"
#include "render/screen/terminal_description.h"
#include "render/screen/terminal_rescue.h"
#include "render/terminal.h"

namespace zvprobe {
namespace {

constexpr short kGoodPair = 1;
constexpr short kBadPair = 2;
constexpr short kLabelPair = 3;

std::atomic<bool> continued = false;

extern "C" void note_continue(int) {
    continued = true;
}

// Gives the terminal to the shell at once: it waits only for the first process of a job.
extern "C" void stop_here(int signal) {
    const int error = errno;
    leave_terminal();
    struct sigaction by_default {};
    by_default.sa_handler = SIG_DFL;
    struct sigaction before {};
    sigaction(signal, &by_default, &before);
    sigset_t mask, only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    pthread_sigmask(SIG_UNBLOCK, &only, &mask);  // stops here
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    sigaction(signal, &before, nullptr);
    continued = true;
    errno = error;
}

// A signal's handler while the object lives. A signal that is ignored stays so.
class Handler {
  public:
    Handler(int signal, void (*function)(int)) : signal_(signal) {
        struct sigaction action {};
        action.sa_handler = function;  // and no SA_RESTART: reads must return
        sigemptyset(&action.sa_mask);
        sigaddset(&action.sa_mask, SIGTTOU);
        sigaction(signal_, nullptr, &before_);
        if (before_.sa_handler != SIG_IGN) sigaction(signal_, &action, nullptr);
    }
    ~Handler() { sigaction(signal_, &before_, nullptr); }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

  private:
    int signal_;
    struct sigaction before_ = {};
};

// ASCII where the locale is "C": names are shown as far as it has their characters.
class Locale {
  public:
    Locale() : before_(text_or_c(std::setlocale(LC_CTYPE, nullptr))) {
        std::setlocale(LC_CTYPE, "");
    }
    ~Locale() { std::setlocale(LC_CTYPE, before_.c_str()); }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;

  private:
    static const char* text_or_c(const char* name) { return name != nullptr ? name : "C"; }

    std::string before_;
};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Terminal = std::unique_ptr<std::FILE, CloseFile>;

Key key_of(int code) {
    switch (code) {
        case 's':
            return Key::kSort;
        case 'r':
            return Key::kReset;
        case 'f':
        case ' ':
            return Key::kFreeze;
        case '?':
        case 'h':
            return Key::kHelp;
        case 'q':
            return Key::kQuit;
        case KEY_UP:
            return Key::kUp;
        case KEY_DOWN:
            return Key::kDown;
        case KEY_PPAGE:
            return Key::kPageUp;
        case KEY_NPAGE:
            return Key::kPageDown;
        case KEY_HOME:
            return Key::kHome;
        default:
            return Key::kOther;
    }
}

class CursesScreen : public Screen {
  public:
    explicit CursesScreen(Terminal terminal) : terminal_(std::move(terminal)) {
        const int fd = fileno(terminal_.get());
        arm_terminal_rescue(fd, leaving_text(fd));  // before ncurses changes the modes
        screen_ = newterm(nullptr, terminal_.get(), terminal_.get());
        if (screen_ == nullptr) {
            disarm_terminal_rescue();
            return;
        }
        set_term(screen_);
        has_colour_ = wants_colour(STDOUT_FILENO) && start_colours();
        cbreak();  // and no raw(): Ctrl-C and Ctrl-Z stay signals
        noecho();
        curs_set(0);
        keypad(stdscr, TRUE);
        nodelay(stdscr, TRUE);
        set_escdelay(kEscapeDelay_ms);
    }
    ~CursesScreen() override {
        if (screen_ == nullptr) return;
        if (has_terminal(fileno(terminal_.get()))) endwin();
        disarm_terminal_rescue();
        delscreen(screen_);
    }
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    bool is_open() const { return screen_ != nullptr; }

    ScreenSize size() const override {
        return {static_cast<size_t>(getmaxy(stdscr)), static_cast<size_t>(getmaxx(stdscr))};
    }

    void draw(const std::vector<Line>& lines) override {
        erase();
        for (size_t y = 0; y < lines.size(); ++y) {
            move(static_cast<int>(y), 0);
            for (const Piece& piece : lines[y].pieces()) {
                attrset(static_cast<int>(attributes(piece.look)));
                addnwstr(piece.text.data(), static_cast<int>(piece.text.size()));
            }
        }
        attrset(A_NORMAL);
        refresh();
    }

    bool next_key(Key& key) override {
        if (continued.exchange(false)) {
            endwin();  // whoever had the terminal in the meantime may have changed it
            clearok(stdscr, TRUE);
            key = Key::kOther;
            refresh();
            return true;
        }
        const int code = getch();
        if (code == ERR) return false;
        key = key_of(code);
        return true;
    }

  private:
    static constexpr int kEscapeDelay_ms = 25;

    static bool start_colours() {
        if (start_color() == ERR || use_default_colors() == ERR) return false;
        init_pair(kGoodPair, COLOR_GREEN, -1);
        init_pair(kBadPair, COLOR_RED, -1);
        init_pair(kLabelPair, COLOR_CYAN, -1);
        return true;
    }

    attr_t attributes(Look look) const {
        const auto colour = [this](short pair) -> attr_t {
            return has_colour_ ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL;
        };
        switch (look) {
            case Look::kHeading:
                return A_BOLD;
            case Look::kLabel:
            case Look::kBar:
                return colour(kLabelPair);
            case Look::kGood:
                return colour(kGoodPair);
            case Look::kBad:
                return A_BOLD | colour(kBadPair);
            case Look::kPast:
                return A_DIM;
            case Look::kPlain:
                break;
        }
        return A_NORMAL;
    }

    const Locale locale_;
    const Handler stop_handler_{SIGTSTP, stop_here};  // before newterm: it leaves them alone then
    const Handler continue_handler_{SIGCONT, note_continue};
    Terminal terminal_;
    SCREEN* screen_ = nullptr;
    bool has_colour_ = false;
};

}  // namespace

bool can_open_screen() {
    return is_terminal(STDOUT_FILENO) && has_terminal(STDOUT_FILENO) &&
           can_be_drawn_on(STDOUT_FILENO);
}

std::unique_ptr<Screen> open_screen() {
    Terminal terminal(std::fopen("/dev/tty", "r+e"));
    if (!terminal) return nullptr;
    auto screen = std::make_unique<CursesScreen>(std::move(terminal));
    if (!screen->is_open()) return nullptr;
    return screen;
}

}  // namespace zvprobe
