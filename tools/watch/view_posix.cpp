#include <curses.h>

#include <cstdio>
#include <cstdlib>

#include "machine/terminal.h"
#include "watch/view.h"

namespace cmm {
namespace {

constexpr int kKeyWaitMs = 100;

// Pairs of colours.
enum Pair : short { kGood = 1, kWarning, kBad };

class Terminal final : public View {
  public:
    explicit Terminal(SCREEN *screen) : screen_(screen) {
        cbreak();
        noecho();
        curs_set(0);
        keypad(stdscr, TRUE);
        timeout(kKeyWaitMs);
        hasColours_ = has_colors() && std::getenv("NO_COLOR") == nullptr && start_color() == OK;
        if (!hasColours_) return;
        use_default_colors();
        init_pair(kGood, COLOR_GREEN, -1);
        init_pair(kWarning, COLOR_YELLOW, -1);
        init_pair(kBad, COLOR_RED, -1);
    }
    ~Terminal() override {
        endwin();
        delscreen(screen_);
    }

    int Columns() const override { return COLS; }
    int Rows() const override { return LINES; }
    void Show(const std::vector<Piece> &pieces) override {
        erase();
        for (const Piece &piece : pieces) {
            attrset(Attributes(piece.style));
            mvaddnstr(piece.row, piece.column, piece.text.c_str(), static_cast<int>(piece.text.size()));
        }
        refresh();
    }
    bool IsLeft() override {
        const int key = getch();  // a new size of the terminal is a key too
        return key == 'q' || key == 'Q';
    }

  private:
    attr_t Attributes(Style style) const {
        const auto colour = [this](Pair pair) {
            return hasColours_ ? static_cast<attr_t>(COLOR_PAIR(pair)) : 0;
        };
        switch (style) {
            case Style::Title:
                return A_REVERSE;
            case Style::Heading:
                return A_BOLD;
            case Style::Good:
                return A_BOLD | colour(kGood);
            case Style::Warning:
                return A_BOLD | colour(kWarning);
            case Style::Bad:
                return A_BOLD | A_REVERSE | colour(kBad);
            case Style::Faint:
                return A_DIM;
            case Style::Plain:
                break;
        }
        return A_NORMAL;
    }

    SCREEN *const screen_;
    bool hasColours_ = false;
};

}  // namespace

std::unique_ptr<View> View::Open() {
    if (TerminalColumns(stdout) == 0 || !IsAnswered()) return nullptr;
    SCREEN *const screen = newterm(nullptr, stdout, stdin);
    if (screen == nullptr) return nullptr;
    set_term(screen);
    // A terminal that only goes on line by line gets lines.
    if (tigetstr("cup") == nullptr) {
        endwin();
        delscreen(screen);
        return nullptr;
    }
    return std::make_unique<Terminal>(screen);
}

}  // namespace cmm
