#include "session.h"

#include <cstring>

#include "arm/arm_context.h"
#include "calls.h"
#include "invariants.h"
#include "platform/virtual/world.h"

namespace campaign {
namespace {

using cc::platform::kMillisecond;
using cc::platform::World;

// Longest time after the last fault until a prompt line works again by itself: a device is tried every second, a frame is
// transmitted four times, a second apart, and a start-link every second, by both sides; what the controller still has to
// say comes first.
constexpr int kRecoveryMs = 20000;

// A fault of the host begins within that time.
constexpr int kHostFaultMs = 1000;

void MakeFault(Client &client, Random &random) {
    World &world = World::Instance();
    client.NoteFault();
    const int arm = random.Between(1, 2);
    const int kind = random.Below(10);
    if (kind == 0) {
        const int milliseconds = random.Scaled(10, 60000);
        const int64_t begin = world.Now() + random.Scaled(1, kHostFaultMs) * kMillisecond;
        world.At(begin, [&world, milliseconds] { world.StandStill(milliseconds * kMillisecond); });
        client.Tell("fault: the host stands still for " + std::to_string(milliseconds) + " ms");
    } else if (kind == 1) {
        world.callsUntilFailure = random.Scaled(1, 200);
        client.TheAccount().callsFailed = true;
        client.Tell("fault: call " + std::to_string(world.callsUntilFailure) + " of the system's fails");
    } else if (client.PlanOf(arm).used) {
        client.Tell("fault, arm " + std::to_string(arm) + ": " + client.FarEndOf(arm).Disturb(random));
    }
}

void TakeStep(Client &client, const Plan &plan, int step) {
    Random random = plan.StepRandom(step);
    if (random.Chance(plan.faultShare)) return MakeFault(client, random);
    const int arm = plan.arms[1].used ? random.Between(1, 2) : 1;
    if (!client.IsOpen(arm) && random.Chance(0.5)) client.Open(arm);
    MakeCall(client, arm, random);
    if (random.Chance(0.6)) client.Loop(random.Scaled(1, 5000));
}

void EndFaults(Client &client) {
    World::Instance().callsUntilFailure = -1;
    for (const int arm : {1, 2}) client.FarEndOf(arm).EndFaults();
    client.ForgetEmergencies();
    client.Tell("all faults have ended");
}

// What an arm must have given back when its machine is at rest.
void NoteLeftovers(Client &client, int arm) {
    const cc::ArmContext &context = cc::SelectArm(static_cast<int16_t>(arm));
    std::vector<std::string> &left = client.TheAccount().arms[arm - 1].left;
    const cc::MessageQueues &queues = context.link.queues;
    for (const auto &slot : context.link.counters.tickCounters)
        if (slot.inUse) left.emplace_back("a tick counter");
    const auto anyBusy = [](const auto &slots) {
        return std::any_of(std::begin(slots), std::end(slots),
                           [](const auto &slot) { return slot.IsBusy(); });
    };
    if (anyBusy(queues.replyQueue)) left.emplace_back("a reply");
    if (anyBusy(queues.prioritySendQueue) || anyBusy(queues.sendQueue))
        left.emplace_back("a message to send");
    if (anyBusy(context.motion.moveRing)) left.emplace_back("a move");
    if (context.motion.movesInFlight != 0) left.emplace_back("moves in flight");
}

bool HasReplies(int arm) {
    const cc::MessageQueues &queues = cc::SelectArm(static_cast<int16_t>(arm)).link.queues;
    return queues.replyQueue[queues.replyRead].IsBusy();
}

void Recover(Client &client, int arm) {
    if (!client.IsOpen(arm) || !client.HasLine(arm)) return;
    ArmAccount &account = client.TheAccount().arms[arm - 1];
    CC_ASKCOORD(static_cast<int16_t>(arm), CC_OFF);
    // On the classic line the worker decodes one reply a period, and a backlog of streamed coordinates hides all answers.
    account.hasBacklog = client.TheAccount().lineMode == 0 && HasReplies(arm);
    if (account.hasBacklog) return;
    account.tries = 1;
    while (!Works(client, arm) && account.tries < kMostTries) {
        ++account.tries;
        // It discards what the classic line is behind with.
        client.Run(arm, "CC_SETSTATUS 0", Promise::Sent, Client::kAckMs + client.CompletionMs(arm) + 2000, 0,
                   [arm] { return CC_SETSTATUS(static_cast<int16_t>(arm), CC_ORDER_READY); });
    }
    if (account.tries == kMostTries) return;
    client.Rest(arm);
    client.ResetMoves(arm);
    account.restsAtLast = client.Rest(arm);
    NoteLeftovers(client, arm);
    CheckLine(client.TheAccount(), arm);
}

}  // namespace

Account RunSession(const Plan &plan, bool tells) {
    Account account;
    {
        Client client(plan, account, tells);
        for (const int arm : {1, 2}) {
            if (plan.arms[arm - 1].used) client.Open(arm);
        }
        for (const int step : plan.steps) TakeStep(client, plan, step);
        EndFaults(client);
        client.Loop(kHostFaultMs);  // a host that stands still by then goes on first
        client.Loop(kRecoveryMs);
        for (const int arm : {1, 2}) Recover(client, arm);
        for (const int arm : {1, 2}) {
            if (client.IsOpen(arm)) client.Close(arm, CC_SHUTDOWN_P12);
            account.lineTime += client.OpenTime(arm);
            for (const int32_t port : {FarEnd::ControllerPort(arm), FarEnd::HeadPort(arm)})
                if (cc::platform::VirtualPort::Number(port).IsOpen())
                    account.arms[arm - 1].left.emplace_back("port COM" + std::to_string(port));
        }
    }
    Judge(account);
    return account;
}

}  // namespace campaign
