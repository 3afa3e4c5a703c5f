// The composition of the view.
#include "watch/screen.h"

#include <gtest/gtest.h>

#include <limits>

namespace cmm {
namespace {

// As full as a readout can be.
Readout Full() {
    Readout readout;
    readout.number = 1;
    readout.line = Readout::Line::InOrder;
    readout.heard = readout.positionTold = Readout::Clock::now();
    readout.state = "measuring";
    readout.controller.emplace();
    readout.position = {-1234.56789, 12345.67891, 0};
    readout.rotary = {-123.4567, 359.9999};
    readout.head = HeadReadout{HeadReadout::Condition::Mute, true, 105, -180, true};
    for (int i = 0; i < 32; ++i) readout.temperatures.push_back(65535);
    readout.io = {0xFFFF, 0};
    for (int set = 1; set <= 7; ++set)
        readout.parameters[set] = {-123456.7, 0, std::numeric_limits<double>::quiet_NaN(), 1e-9, 1};
    readout.counts = {{"framesSent", 4000000000U}, {"lineErrorsSent", 7}};
    for (int i = 1; i <= 50; ++i) readout.happenings.push_back({i, {}, std::string(100, 'w') + " fin"});
    return readout;
}

TEST(Screen, HasNothingOverItsEdgesNorOverEachOther) {
    const Readout full = Full();
    Readout lost = full, bare;
    lost.line = Readout::Line::Lost;
    for (const auto &[columns, rows] : {std::pair(80, 24), {120, 40}, {200, 60}, {40, 10}, {1, 1}}) {
        for (const Readout *const readout : {&full, &std::as_const(lost), &std::as_const(bare)}) {
            std::vector<std::string> screen(static_cast<size_t>(rows),
                                            std::string(static_cast<size_t>(columns), ' '));
            const std::string machine =
                "COM3 (/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A10KXYZ-if00-port0)";
            for (const Piece &piece : ComposeScreen(*readout, {machine, 0.01, columns, rows})) {
                ASSERT_TRUE(piece.row >= 0 && piece.row < rows && piece.column >= 0) << piece.text;
                ASSERT_LE(piece.column + static_cast<int>(piece.text.size()), columns) << piece.text;
                std::string &row = screen[static_cast<size_t>(piece.row)];
                const auto at = static_cast<size_t>(piece.column);
                const bool isFree = row.find_first_not_of(' ', at) >= at + piece.text.size();
                EXPECT_TRUE(isFree || columns < 80) << row << "\n" << piece.text;
                row.replace(at, piece.text.size(), piece.text);
            }
            std::string all;
            for (const std::string &row : screen) all += row + "\n";
            if (columns < 80) continue;
            const bool isBare = readout == &bare, isLost = readout == &lost;
            EXPECT_EQ(all.find("MEASURING") != std::string::npos, !isBare && !isLost) << all;
            EXPECT_EQ(all.find("LINE LOST") != std::string::npos, isLost) << all;
            EXPECT_EQ(all.find("655.4") != std::string::npos, !isBare) << all;
            EXPECT_EQ(all.find("set 7") != std::string::npos, !isBare) << all;
            EXPECT_EQ(all.find("errors 7") != std::string::npos, !isBare) << all;
            EXPECT_EQ(all.find(" fin") != std::string::npos, !isBare) << all;  // of the last happening
        }
    }
}

}  // namespace
}  // namespace cmm
