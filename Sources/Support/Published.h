// Published: a value that views watch.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace lumicrate {

/// Keeps an observer registered for as long as it lives.
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

/// A set of callbacks that may grow and shrink while they are being called. One thread only.
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
        std::vector<std::weak_ptr<Callback>> present;
        for (const auto& [id, callback] : registry_->callbacks)
            present.push_back(callback);
        for (const auto& each : present) {
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

/// A value whose every change is announced to its observers just before it takes effect. One thread only.
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

    /// `willChange` is given the coming value while the old one is still readable.
    [[nodiscard]] Subscription observe(std::function<void(const T&)> willChange) const {
        return observers_.add(std::move(willChange));
    }
    bool isObserved() const { return !observers_.isEmpty(); }

 private:
    T value_{};
    mutable Observers<const T&> observers_;
};

}  // namespace lumicrate
