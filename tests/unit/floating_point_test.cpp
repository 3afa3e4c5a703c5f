// The client's floating-point environment: what it holds must neither reach the library's results nor be changed by them.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>

#include "cc_interface.h"
#include "exchange/point_reports.h"
#include "motion/move_buffer.h"
#include "probehead/head_answer.h"
#include "support/inside.h"

namespace cc::test {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kSignalling = std::numeric_limits<double>::signaling_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();

// Each environment of a client has one flag raised. Where exceptions are unmasked, one that leaves the library
// kills the test.
class ClientsEnvironment : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    void SetUp() override {
        ASSERT_EQ(std::fegetenv(&before_), 0);
        std::fesetround(std::get<0>(GetParam()));
        std::feclearexcept(FE_ALL_EXCEPT);
        feenableexcept(std::get<1>(GetParam()));
        unmasked_ = fegetexcept();  // not every processor can
        if (unmasked_ == 0) std::feraiseexcept(FE_DIVBYZERO);
    }
    void TearDown() override {
        EXPECT_EQ(std::fegetround(), std::get<0>(GetParam()));
        EXPECT_EQ(fegetexcept(), unmasked_);
        EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), unmasked_ == 0 ? FE_DIVBYZERO : 0);
        std::fesetenv(&before_);
    }

  private:
    std::fenv_t before_;
    int unmasked_ = 0;
};

INSTANTIATE_TEST_SUITE_P(All, ClientsEnvironment,
                         testing::Combine(testing::Values(FE_TONEAREST, FE_UPWARD, FE_DOWNWARD,
                                                          FE_TOWARDZERO),
                                          testing::Values(0, FE_ALL_EXCEPT)));

// What is no number or too much gives 0, more than 32 bits keep their low 32.
TEST_P(ClientsEnvironment, DoesNotReachCounts) {
    const std::tuple<double, double, int32_t> kRows[] = {
        {2147483648.0, 1, INT32_MIN}, {0.3, 0.1, 2},     {0.6, 0.2, 2},
        {-4294967297.0, 1, -1},       {1.999, 1, 1},     {-1.999, 1, -1},
        {-5e9, 1, -705032704},        {-0.5, 1, 0},      {1e300, 1, 0},
        {5e9, 1, 705032704},          {1, kTiny, 0},     {1, 0, 0},
        {10, 0.0001, 100000},         {0, 0, 0},         {1, kNan, 0},
        {kTiny, 0.0001, 0},           {kNan, 1, 0},      {kSignalling, 1, 0},
        {1e300, 1e-300, 0},           {kInfinite, 1, 0},
    };
    for (const auto &[value, scale, counts] : kRows) EXPECT_EQ(Counts(value, scale), counts) << value;
}

int roundingSeen = 0;
PointRecord seen;

void CC_CALL Notify(int32_t, uint32_t, void *data) {
    roundingSeen = std::fegetround();  // the client's own
    seen = *static_cast<const PointRecord *>(data);
}

TEST_P(ClientsEnvironment, DoesNotReachReportsAndAngles) {
    ArmContext &arm = SelectArm(1);
    arm.replies.notifyCallback = Notify;
    arm.axes = {0.1, kInfinite, {1, -1, 1}, {0, 1, 2}};
    const uint8_t coordinates[] = {15, 1, 11, 'A', 3, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0};
    ReportCoordinates(arm, coordinates);
    EXPECT_EQ(roundingSeen, std::get<0>(GetParam()));
    EXPECT_EQ(seen.position[0], 0.30000000000000004);
    EXPECT_EQ(seen.position[1], -0.6000000000000001);
    const uint8_t wrist[] = {11, 1, 11, 'B', 3, 0, 0, 0, 0, 0, 0, 0};
    ReportCoordinates(arm, wrist);
    EXPECT_EQ(seen.position[0], kInfinite);
    EXPECT_TRUE(std::isnan(seen.position[1]));  // zero times infinite
    ForgetSessions();
    HeadRecord head;
    ClassifyHeadAnswer(head, "H A0.3 B-105.7\r");
    EXPECT_EQ(head.headA, 0.3);
    EXPECT_EQ(head.headB, -105.7);
}

}  // namespace
}  // namespace cc::test
