#include "dme/transactions.h"

#include <algorithm>

namespace cmm::dme {

void Transactions::Add(const TransactionPtr &transaction) {
    host_.Send(transaction->command.tag + " &");
    if (!transaction->faults.empty()) transaction->state = Transaction::State::Ended;
    open_.push_back(transaction);
    if (transaction->fast && !transaction->HasEnded()) {
        transaction->state = Transaction::State::Running;
        host_.Start(transaction);
    }
    Pump();
}

void Transactions::Say(const TransactionPtr &transaction, char kind, const std::string &text) {
    if (transaction->HasEnded()) return;
    const std::string line = transaction->command.tag + " " + kind + " " + text;
    const bool itsTurn = transaction->fast || (!open_.empty() && open_.front() == transaction);
    if (itsTurn)
        host_.Send(line);
    else
        transaction->held.push_back(line);
}

void Transactions::Data(const TransactionPtr &transaction, const std::string &data) {
    Say(transaction, '#', data);
}

void Transactions::Warn(const TransactionPtr &transaction, const Fault &fault) {
    Say(transaction, '!', fault.Format());
}

void Transactions::End(const TransactionPtr &transaction) {
    if (transaction->HasEnded()) return;
    transaction->state = Transaction::State::Ended;
    Pump();
}

void Transactions::Fail(const TransactionPtr &transaction, const Fault &fault) {
    if (transaction->HasEnded()) return;
    transaction->faults.push_back(fault);
    End(transaction);
}

/// What is started may end at once, and so come back here; it is then gone through once more.
void Transactions::Pump() {
    again_ = true;
    if (pumping_) return;
    pumping_ = true;
    while (again_) {
        again_ = false;
        Step();
    }
    pumping_ = false;
}

void Transactions::Step() {
    while (!open_.empty()) {
        const TransactionPtr first = open_.front();
        if (first->state == Transaction::State::Waiting && !held_) {
            first->state = Transaction::State::Running;
            host_.Start(first);
        }
        if (open_.empty() || open_.front() != first) continue;
        for (const std::string &line : first->held) host_.Send(line);
        first->held.clear();
        if (!first->HasEnded()) break;
        Complete();
    }
    if (!held_) StartAhead();
}

/// Those that run beside the first keep their answers until their turn. One that failed waits for its turn to tell it, and
/// lets none pass.
void Transactions::StartAhead() {
    for (size_t i = 1; i < open_.size(); ++i) {
        const TransactionPtr transaction = open_[i];
        if (!open_[i - 1]->faults.empty()) return;
        if (transaction->state != Transaction::State::Waiting) continue;
        if (!host_.MayRunAhead(*transaction)) return;
        transaction->state = Transaction::State::Running;
        host_.Start(transaction);
    }
}

void Transactions::Complete() {
    const TransactionPtr ended = open_.front();
    open_.pop_front();
    const Fault *blocking = nullptr;
    for (const Fault &fault : ended->faults) {
        host_.Send(ended->command.tag + " ! " + fault.Format());
        if (fault.IsBlocking()) blocking = &fault;
    }
    host_.Send(ended->command.tag + " %");
    if (!blocking) return;
    AbortPending();
    host_.OnBlocked(*blocking);
}

void Transactions::AbortBefore(const TransactionPtr &last) {
    while (!open_.empty() && open_.front() != last) {
        const TransactionPtr transaction = open_.front();
        if (!last && transaction->clears && transaction->state == Transaction::State::Waiting) break;
        open_.pop_front();
        const std::string &tag = transaction->command.tag;
        const bool completed = transaction->HasEnded() && transaction->faults.empty();
        if (completed)
            for (const std::string &line : transaction->held) host_.Send(line);
        else if (!transaction->fast)
            host_.Send(tag + " ! " + FormatError(ErrorNumber::Aborted, transaction->command.method.text));
        transaction->state = Transaction::State::Ended;
        host_.Send(tag + " %");
    }
    Pump();
}

void Transactions::Hold(bool on) {
    held_ = on;
    Pump();
}

bool Transactions::HasTag(std::string_view tag) const {
    return std::any_of(open_.begin(), open_.end(),
                       [tag](const TransactionPtr &each) { return each->command.tag == tag; });
}

}  // namespace cmm::dme
