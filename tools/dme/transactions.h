// Transactions in their order: acknowledged as they come, answered one after another.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "dme/errors.h"
#include "dme/grammar.h"

namespace cmm::dme {

struct Method;

/// A command from its acknowledgement to its completion.
struct Transaction {
    enum class State { Waiting, Running, Ended };

    Command command;
    const Method *method = nullptr;  // null: the line was no command; faults tells why
    bool fast = false;               // started as it comes
    bool clears = false;             // ends what an error bars, so that the error does not abort it
    State state = State::Waiting;
    std::vector<std::string> held;  // lines that may not be sent before its turn
    std::vector<Fault> faults;      // what it failed with

    bool HasEnded() const { return state == State::Ended; }
};
using TransactionPtr = std::shared_ptr<Transaction>;

/// Who carries transactions out.
class TransactionHost {
  public:
    virtual ~TransactionHost() = default;
    /// Sends a line, given without CR LF.
    virtual void Send(const std::string &line) = 0;
    /// Begins to carry one out; Transactions::End or Fail follows at once or later.
    virtual void Start(const TransactionPtr &) = 0;
    /// Whether one can be started while those before it run.
    virtual bool MayRunAhead(const Transaction &) = 0;
    /// One failed with a blocking error, which was told; those behind it are gone.
    virtual void OnBlocked(const Fault &) = 0;
};

class Transactions {
  public:
    explicit Transactions(TransactionHost &host) : host_(host) {}

    /// Acknowledges it; starts it when it is fast or its turn has come. One with faults only tells them in its turn.
    void Add(const TransactionPtr &);

    /// A data line, a warning: at once when it is its turn or it is fast. Nothing comes of one that has ended.
    void Data(const TransactionPtr &, const std::string &data);
    void Warn(const TransactionPtr &, const Fault &);
    /// The end. Its completion is sent in its turn.
    void End(const TransactionPtr &);
    void Fail(const TransactionPtr &, const Fault &);

    /// Ends those before one, or all before the first that clears errors: each that did not reach its end is told to be
    /// aborted.
    void AbortPending() { AbortBefore(nullptr); }
    void AbortBefore(const TransactionPtr &);
    /// While on, nothing more is started.
    void Hold(bool on);
    /// Forgets all, without a word.
    void Clear() { open_.clear(); }

    size_t Count() const { return open_.size(); }
    bool HasTag(std::string_view tag) const;

  private:
    void Pump();
    void Step();
    void StartAhead();
    void Complete();
    void Say(const TransactionPtr &, char kind, const std::string &text);

    TransactionHost &host_;
    std::deque<TransactionPtr> open_;
    bool held_ = false;
    bool pumping_ = false;
    bool again_ = false;
};

}  // namespace cmm::dme
