// A machine that does each order when it is told the time, and what befalls it when a test says so.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "dme/machine.h"

namespace cmm::dme {

/// Every order takes 100 ms; probing touches at the nominal place. Turning the head and asking take no time.
class ScriptedMachine : public Machine {
  public:
    void SetListener(MachineListener &listener) override { listener_ = &listener; }
    void Advance(Time now) override {
        if (stopping_ && now >= stopped_) FinishStop();
        while (!orders_.empty() && !stopping_) {
            if (orders_.front().begun < Time(0)) orders_.front().begun = free_;
            if (now < orders_.front().begun + orders_.front().takes) break;
            free_ = orders_.front().begun + orders_.front().takes;
            EndFirst();
        }
        if (orders_.empty()) free_ = now;
        if (watched_ && !orders_.empty()) listener_->OnPosition(0, position_);
        now_ = now;
    }

    Fittings Fitted() const override { return {.head = true, .scanning = true}; }
    bool IsHomed() const override { return homed_; }
    bool IsUserEnabled() const override { return user_; }
    MachinePosition Position() const override { return position_; }

    void Home(OrderNumber number) override {
        Add(number, Time(100), [this] {
            homed_ = true;
            position_.point.setZero();
        });
    }
    void EnableUser(OrderNumber number, bool enable) override {
        Add(number, Time(0), [this, enable] { user_ = enable; });
    }
    void Move(OrderNumber number, const MoveOrder &order) override {
        Add(number, Time(100), [this, order] { position_.point = order.target; });
    }
    void Probe(OrderNumber number, const ProbeOrder &order) override {
        Add(number, Time(100), [this, order, number] {
            listener_->OnTouched(number, order.nominal + shift);
            position_.point =
                order.retract < 0 ? order.approach : order.nominal + order.retract * order.direction;
        });
    }
    void Scan(OrderNumber number, const ScanOrder &order) override {
        Add(number, Time(100), [this, number, order] {
            const int steps = static_cast<int>(order.target.norm() / order.step);
            for (int i = 0; i <= steps; ++i) {
                const Eigen::Vector2d place = order.target * i / steps;
                position_.point =
                    order.origin + order.axes.transpose() * Eigen::Vector3d(place.x(), place.y(), 0);
                listener_->OnScanned(number, position_.point);
            }
        });
    }
    void TurnHead(OrderNumber number, double a, double b) override {
        Add(number, Time(0), [this, a, b] { position_.a = a, position_.b = b; });
    }
    void TurnTable(OrderNumber number, double) override {
        Add(number, Time(0), [] {});
    }
    void AskPosition(OrderNumber number) override {
        Add(number, Time(0), [this, number] { listener_->OnPosition(number, position_); });
    }
    void Await(OrderNumber number) override {
        Add(number, Time(0), [] {});
    }
    void Recover(OrderNumber number) override {
        Add(number, Time(0), [] {});
    }
    void Watch(bool on) override { watched_ = on; }
    void Stop() override {
        ++stops;
        stopping_ = true;
        stopped_ = now_ + Time(50);
    }

    /// The first order that runs fails, or the next one given if none does; those behind it too.
    void FailNext(Trouble kind, const std::string &words) { failure_ = MachineTrouble{kind, words}; }
    void Befall(Trouble kind, const std::string &words) { listener_->OnTrouble({kind, words}); }
    size_t Outstanding() const { return orders_.size(); }

    void TouchByHand(const Eigen::Vector3d &point) { listener_->OnManualTouch(point); }

    int stops = 0;
    Eigen::Vector3d shift = Eigen::Vector3d::Zero();  // of what is touched, mm

  private:
    struct Order {
        OrderNumber number;
        Time takes;
        std::function<void()> work;
        Time begun{-1};
    };

    void Add(OrderNumber number, Time takes, std::function<void()> work) {
        orders_.push_back({number, takes, std::move(work)});
    }
    void EndFirst() {
        const Order order = orders_.front();
        orders_.pop_front();
        if (!failure_) {
            order.work();
            return listener_->OnDone(order.number);
        }
        const MachineTrouble failure = *failure_;
        failure_.reset();
        std::deque<Order> behind;
        behind.swap(orders_);
        listener_->OnFailed(order.number, failure);
        for (const Order &each : behind) listener_->OnFailed(each.number, {Trouble::AfterFailure, ""});
    }
    void FinishStop() {
        stopping_ = false;
        std::deque<Order> stopped;
        stopped.swap(orders_);
        for (const Order &each : stopped) listener_->OnFailed(each.number, {Trouble::Stopped, ""});
        listener_->OnStopped();
    }

    MachineListener *listener_ = nullptr;
    std::deque<Order> orders_;
    MachinePosition position_;
    std::optional<MachineTrouble> failure_;
    bool homed_ = false, user_ = false, watched_ = false, stopping_ = false;
    Time now_{0}, free_{0}, stopped_{0};
};

}  // namespace cmm::dme
