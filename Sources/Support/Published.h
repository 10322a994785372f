// SPDX-License-Identifier: GPL-3.0-or-later
// Published: an observable value.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace lumicrate {

/// Keeps an observer registered while it exists.
class Subscription {
 public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
    Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        std::swap(end_, other.end_);
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() {
        if (end_) end_();
    }

 private:
    std::function<void()> end_;
};

/// A set of callbacks. Callbacks may be added and removed while they are being called. One thread only.
template <class... Arguments>
class Observers {
 public:
    using Callback = std::function<void(Arguments...)>;

    [[nodiscard]] Subscription add(Callback callback) {
        const int id = registry_->next++;
        registry_->callbacks.emplace(id, std::make_shared<Callback>(std::move(callback)));
        return Subscription([registry = std::weak_ptr(registry_), id] {
            if (const auto alive = registry.lock()) alive->callbacks.erase(id);
        });
    }

    bool isEmpty() const { return registry_->callbacks.empty(); }

    void notify(Arguments... arguments) const {
        std::vector<std::weak_ptr<Callback>> current;
        for (const auto& [id, callback] : registry_->callbacks)
            current.push_back(callback);
        for (const auto& each : current) {
            if (const auto callback = each.lock()) (*callback)(arguments...);
        }
    }

 private:
    struct Registry {
        int next = 0;
        std::map<int, std::shared_ptr<Callback>> callbacks;
    };

    std::shared_ptr<Registry> registry_ = std::make_shared<Registry>();
};

/// A value that notifies its observers of each assignment just before it takes effect. One thread only.
template <class T>
class Published {
 public:
    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& get() const { return value_; }
    const T& operator*() const { return value_; }
    const T* operator->() const { return &value_; }

    Published& operator=(T value) {
        observers_.notify(value);
        value_ = std::move(value);
        return *this;
    }

    /// `willChange` receives the new value while the object still has the old one.
    [[nodiscard]] Subscription observe(std::function<void(const T&)> willChange) const {
        return observers_.add(std::move(willChange));
    }
    bool isObserved() const { return !observers_.isEmpty(); }

 private:
    T value_{};
    mutable Observers<const T&> observers_;
};

}  // namespace lumicrate
