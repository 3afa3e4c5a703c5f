#include "dme/serve.h"

#include <cstdio>
#include <optional>

#include "dme/dialogue_log.h"
#include "dme/library_loop.h"
#include "dme/library_machine.h"
#include "dme/machine_file.h"
#include "dme/seen_part.h"
#include "dme/server.h"
#include "dme/state_file.h"
#include "machine/emulated_line.h"
#include "machine/operator_stop.h"
#include "machine/port_names.h"
#include "machine/settings_file.h"
#include "machine/temporaries.h"

namespace cmm::dme {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kTurn = std::chrono::milliseconds(10);
constexpr auto kLongestStop = std::chrono::seconds(5);

MachineFile MachineOf(const ServeOptions &options) {
    MachineFile file;
    if (options.machineFile.empty()) return file;
    file = LoadMachineFile(options.machineFile);
    if (file.complaints.empty()) return file;
    throw Failure(kBadArguments, options.machineFile + ", " + file.complaints.front().Words(),
                  "cmm machine check tells all that is wrong with the file.");
}

std::shared_ptr<SeenPart> PartOf(const ServeOptions &options) {
    if (!options.emulate || options.part == "none") return nullptr;
    if (options.part == "plane") return std::make_shared<SeenPart>(std::make_shared<emulator::PlanePart>());
    return std::make_shared<SeenPart>(std::make_shared<emulator::SpherePart>());
}

/// All that lives from the first client to the last.
class Service : private ConnectionHost {
  public:
    Service(const ServeOptions &options, const ArmOptions &arm, const Setup &setup,
            std::shared_ptr<SeenPart> part)
        : part_(std::move(part)),
          log_(options.logFile),
          machine_(MachineOptions(arm)),
          server_(machine_, setup, [this](const std::string &line) { Send(line); }),
          state_(options.stateFile, server_),
          door_(context_, ParseListenAddress(options.listen), *this,
                [this](const std::string &address) { log_.Write('*', "client " + address); }) {
        Advance();
    }

    /// Any thread.
    void End() {
        asio::post(context_, [this] { ending_ = true; });
    }

    void Run(Console &console) {
        if (!door_.IsLocal())
            console.Say(
                "Warning: other computers can connect, and the protocol has no password: whoever reaches " +
                door_.Address() + " can move the machine.");
        console.Say("listening on " + door_.Address());
        Tick();
        while (!ending_) context_.run_one();
        log_.Write('*', "the server ends");
        door_.Close();
        server_.Leave();
        for (const auto end = Clock::now() + kLongestStop; server_.IsBusy() && Clock::now() < end;)
            context_.run_one();
        Keep();
    }

  private:
    LibraryMachineOptions MachineOptions(const ArmOptions &arm) {
        LibraryMachineOptions options;
        options.arm = arm;
        options.log = [this](const std::string &words) { log_.Write('|', words); };
        return options;
    }

    void Send(const std::string &line) {
        log_.Write('<', line);
        door_.Send(line);
    }

    // Once in a turn of the loop at the latest, and whenever something has come.
    void Advance() {
        server_.Advance(std::chrono::duration_cast<Time>(Clock::now() - begin_));
        const Eigen::Vector3d tip = server_.TipOffset();
        if (part_) part_->SetTip({tip.x(), tip.y(), tip.z()});
    }

    void Keep() {
        const bool kept = state_.Keep();
        if (!kept && kept_) log_.Write('*', "the state file cannot be written");
        kept_ = kept;
    }

    void Tick() {
        timer_.expires_after(kTurn);
        timer_.async_wait([this](asio::error_code) {
            Tick();
            library_.Turn();
            Advance();
            door_.Turn();
            Keep();
        });
    }

    void OnLine(const std::string &text, bool early) override {
        log_.Write('>', text);
        server_.Receive(text, early);
        Advance();
    }
    bool MayTake() const override { return !server_.IsFull(); }
    void OnGone(const std::string &why) override {
        log_.Write('*', why);
        server_.Leave();
        door_.Free();
    }

    const Clock::time_point begin_ = Clock::now();
    const std::shared_ptr<SeenPart> part_;
    asio::io_context context_;
    asio::steady_timer timer_{context_};
    DialogueLog log_;
    LibraryMachine machine_;
    Server server_;
    StateFile state_;
    Door door_;
    LibraryLoop library_{context_, [this] { return machine_.MayRunLoop(); }, [this] { Advance(); }};
    bool ending_ = false;
    bool kept_ = true;
};

}  // namespace

void Serve(const ServeOptions &options) {
    Console console;
    // Before there is a service it has nothing to stop.
    std::atomic<Service *> running{nullptr};
    std::atomic<bool> wanted{false};
    const Signals signals([&running, &wanted] {
        if (wanted.exchange(true)) EndAtOnce(kStopped);
        if (Service *const service = running) service->End();
    });
    const MachineFile file = MachineOf(options);
    std::shared_ptr<SeenPart> part = PartOf(options);
    std::optional<EmulatedLine> line;
    if (options.emulate) line.emplace(part, file.scale);
    const PortNames names(options.port, options.headPort);
    const SettingsFile ini(options.iniFile);
    ArmOptions arm;
    arm.iniFile = ini.Path();
    arm.simulation = options.simulate;
    arm.port = line ? line->Port() : names.Port();
    arm.headPort = line ? line->HeadPort() : names.HeadPort();
    arm.linearScale = file.scale;
    Service service(options, arm, file.setup, std::move(part));
    running = &service;
    if (wanted) service.End();
    service.Run(console);
    running = nullptr;
}

}  // namespace cmm::dme
