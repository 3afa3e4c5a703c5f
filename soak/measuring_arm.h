// One arm of the measuring program: it opens, probes a sphere, orders and asks at random, and looks at what comes of it.
#pragma once

#include <string>

#include "cc_interface.h"
#include "part.h"
#include "shared.h"

namespace soak {

class MeasuringArm {
  public:
    MeasuringArm(Shared &shared, const std::string &folder, int16_t number, uint64_t seed);

    bool IsOpen() const { return open_; }
    /// Result: whether it is open now.
    bool Open(bool prompt);
    void Close();

    /// A step of work, of whatever kind.
    void Work();

    /// Once the faults are over: the arm must work again, on a prompt line as it is, on a classic line when it is opened
    /// anew.
    void CheckWorks();

    void OnEvent(int32_t event, uint32_t info, const void *data);

  private:
    struct Filed {
        uint32_t epoch = 0;  // 0: never
        emulator::Vector direction{};
        bool reported = false;
    };

    template <typename Call>
    auto Do(CallKind kind, Call call, double more = 0);
    void Run(int milliseconds);
    bool Reaches(int16_t status, int16_t order);
    /// Brings controller and library to an empty buffer in measuring state, with the machine clear of the part.
    bool Resynchronise();
    void FileMove(int16_t mode, const emulator::Vector &target, uint32_t id);
    void FileProbing();
    bool MayFile(int16_t entries);
    void OrderAnything();
    void AskAnything();
    void FileAnything();
    bool AnswersRightly();
    bool Probes();
    bool HeadTurns();
    void CheckPoint(uint32_t info, const PointRecord &point);
    uint32_t StartLinks();
    uint32_t NextSerial();

    Shared &shared_;
    const std::string iniPath_;
    const int16_t number_;
    Random random_;
    bool open_ = false;
    bool prompt_ = true;
    bool lost_ = true;         // what is under way is not known: only Resynchronise helps
    uint32_t epoch_ = 0;       // times that it was known since
    uint32_t startLinks_ = 0;  // of the controller, when the epoch began
    int64_t headUnplugs_ = 0;  // when the arm was opened
    uint32_t serial_ = 0;
    uint16_t id_ = 0;
    int movesDone_ = 0, points_ = 0;  // in this epoch
    bool positionKnown_ = false;
    emulator::Vector position_{};
    emulator::Vector direction_{0, 0, 1};
    Filed filed_[65504];
};

/// The calls of the callbacks of both arms.
extern MeasuringArm *measuringArms[kArms];

}  // namespace soak
