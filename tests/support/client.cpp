#include "support/client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>

namespace cc::test {
namespace {

std::vector<Event> events[2];
std::string iniPaths[2];

template <int arm>
void CC_CALL Record(int32_t number, uint32_t info, void *data) {
    Event event = Of(number, info);
    const bool isPoint = number == 5 || number == 6 || number == 7 || number == 13;
    if (data != nullptr && isPoint) event.point = *static_cast<PointRecord *>(data);
    const size_t words = number == 26 ? 64 : number == 18 || number == 19 ? 2 : 8;
    const auto *const bytes = static_cast<uint8_t *>(data);
    if (data != nullptr && !isPoint) event.words.assign(bytes, bytes + words);
    events[arm - 1].push_back(event);
}

}  // namespace

Bytes Hex(const std::string &text) {
    Bytes bytes;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const bool character = word.size() == 3 && word.front() == '\'';
        bytes.push_back(character ? static_cast<uint8_t>(word[1])
                                  : static_cast<uint8_t>(std::stoi(word, nullptr, 16)));
    }
    return bytes;
}

Messages Hexes(const std::string &text) {
    Messages messages;
    std::istringstream pieces(text);
    for (std::string piece; std::getline(pieces, piece, '|');) messages.push_back(Hex(piece));
    return messages;
}

Event Of(int32_t number, uint32_t info) {
    return {number, info, {}, {}};
}

void PrintTo(const Event &event, std::ostream *out) {
    *out << "event " << event.number << " info " << event.info;
}

std::vector<Event> &Events(int arm) {
    return events[arm - 1];
}

CC_NOTIFY Recorder(int arm) {
    return arm == 1 ? Record<1> : Record<2>;
}

std::vector<Event> EventsOf(int arm, int32_t number) {
    std::vector<Event> found;
    for (const Event &event : Events(arm)) {
        if (event.number == number) found.push_back(event);
    }
    return found;
}

const char *IniFile(const std::string &text, int arm) {
    std::string &path = iniPaths[arm - 1];
    path = testing::TempDir() + "cc_test_arm" + std::to_string(arm) + "_" + std::to_string(getpid()) + ".ini";
    std::ofstream(path) << text;
    return path.c_str();
}

uint16_t OpenSimulated(int arm, const char *iniFile, uint16_t flags) {
    return CC_INIT(nullptr, static_cast<int16_t>(arm), Recorder(arm), nullptr, nullptr, 1, 0.001, 0.5, flags,
                   iniFile);
}

void CloseAll() {
    for (const int16_t arm : {1, 2}) {
        CC_DONE(arm, 2);
        Events(arm).clear();
    }
}

}  // namespace cc::test
