// The server of measuring software: whatever a client sends and however slowly the machine goes.
#include <string>

#include "dme/server.h"
#include "input.h"
#include "scripted_machine.h"
#include "targets.h"

namespace cc::fuzz {
namespace {

using cmm::dme::Time;

/// Each acknowledgement has a command before it, and each completion an acknowledgement.
class Balance {
  public:
    void Take(const std::string &line) {
        Check(line.size() > 6 && line.find_first_of("\r\n") == std::string::npos);
        if (line.compare(0, 5, "E0000") == 0) return;
        if (line[6] == '&') ++open_;
        if (line[6] == '%') Check(--open_ >= 0);
    }
    int Open() const { return open_; }

  private:
    int open_ = 0;
};

}  // namespace

/// Lines of a client; a line that begins with a digit 1 to 9 behind a dot lets so many tenths of a second pass, "!" has the
/// machine fail, "*" brings an emergency, "-" has the client go away.
void Dialogue(const uint8_t *data, size_t size) {
    Balance balance;
    cmm::dme::ScriptedMachine machine;
    cmm::dme::Server server(machine, cmm::dme::BuiltInSetup(),
                            [&balance](const std::string &line) { balance.Take(line); });
    Time now{0};
    const auto pass = [&](int tenths) {
        for (int i = 0; i < tenths * 10; ++i) server.Advance(now += Time(10));
    };
    std::string_view rest(reinterpret_cast<const char *>(data), size);
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (line.size() == 2 && line[0] == '.' && line[1] > '0' && line[1] <= '9') {
            pass(line[1] - '0');
        } else if (line == "!") {
            machine.FailNext(cmm::dme::Trouble::SurfaceNotFound, "nothing");
        } else if (line == "*") {
            machine.Befall(cmm::dme::Trouble::Emergency, "emergency");
        } else if (line == "-") {
            server.Leave();
            balance = {};
        } else if (!server.IsFull()) {
            server.Receive(line, line.size() % 16 == 7);
        }
    }
    for (int i = 0; i < 10000 && server.IsBusy(); ++i) pass(1);
    Check(!server.IsBusy() && balance.Open() == 0);
}

}  // namespace cc::fuzz
