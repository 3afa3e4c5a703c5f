// Looks inside an arm, for tests that link the library statically.
#pragma once

#include <gtest/gtest.h>

#include <cmath>

#include "arm/arm_context.h"
#include "link/send_path.h"
#include "platform/virtual/world.h"
#include "support/client.h"

namespace cc::test {

/// Seconds of virtual time.
inline double Seconds() {
    return static_cast<double>(platform::World::Instance().Now()) / 1e6;
}

/// Three values in millionths, to compare them.
using Millionths = std::vector<long>;
inline Millionths InMillionths(const double (&values)[3]) {
    return {std::lround(values[0] * 1e6), std::lround(values[1] * 1e6), std::lround(values[2] * 1e6)};
}

/// Puts a reply into the reply queue of an arm in simulation mode, as the simulator would.
inline void Inject(int16_t arm, const Bytes &reply) {
    MessageQueues &queues = SelectArm(arm).link.queues;
    MessageSlot &slot = queues.replyQueue[queues.simReplyWrite];
    std::copy(reply.begin(), reply.end(), slot.data);
    slot.Publish(static_cast<uint16_t>(reply.size()));
    queues.simReplyWrite = NextIndex(queues.simReplyWrite, kReplySlots);
}

/// Takes all replies that wait in the reply queue.
inline Messages TakeReplies(ArmContext &arm) {
    Messages replies;
    uint8_t buffer[kReplyBytes];
    uint16_t length = 0;
    for (TakeReply(arm.link, length, buffer); length != 0; TakeReply(arm.link, length, buffer)) {
        replies.emplace_back(buffer, buffer + length);
    }
    return replies;
}

/// Messages that were queued in simulation mode since the object was made, in the order of each queue.
class SentMessages {
  public:
    explicit SentMessages(int16_t arm = 1)
        : queues_(SelectArm(arm).link.queues), normal_(queues_.sendWrite), priority_(queues_.priorityWrite) {}

    bool None() const { return Normal().empty() && Priority().empty(); }
    Messages Normal() const { return Collect(queues_.sendQueue, normal_, queues_.sendWrite, kSendSlots); }
    Messages Priority() const {
        return Collect(queues_.prioritySendQueue, priority_, queues_.priorityWrite, kPrioritySlots);
    }

  private:
    static Messages Collect(const MessageSlot *queue, int32_t from, int32_t to, int32_t size) {
        Messages messages;
        for (int32_t i = from; i != to; i = NextIndex(i, size)) {
            messages.emplace_back(queue[i].data, queue[i].data + queue[i].data[0] + 1);
        }
        return messages;
    }

    MessageQueues &queues_;
    int32_t normal_;
    int32_t priority_;
};

/// Gives closed arms the state that they have after the library is loaded: much of it outlives a session.
inline void ForgetSessions() {
    for (const int16_t number : {1, 2}) {
        ArmContext &arm = SelectArm(number);
        arm.link.simulator = {};
        arm.replies = {};
        arm.session = {};
        arm.link.txSequence = arm.link.rxSequence = 0;
        arm.link.retryTicks = 0;
        arm.link.retryCount = 0;
        arm.link.priorityInFlight = 0;
        arm.link.queues.sendWrite = arm.link.queues.priorityWrite = 0;
    }
}

/// A test of its own arms: closed and as new when it begins.
class ArmTest : public testing::Test {
  protected:
    void SetUp() override {
        ForgetSessions();
        platform::World::Instance().messageBoxes.clear();
    }
    void TearDown() override { CloseAll(); }

    ArmContext &arm1 = SelectArm(1);
};

/// A test with arm 1 open in simulation mode, in state 1.
class SimulationTest : public ArmTest {
  protected:
    void SetUp() override {
        ArmTest::SetUp();
        ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout = 1\n")), CC_OK);
        Events(1).clear();
    }
};

}  // namespace cc::test
