// WakeUp: a descriptor that any thread can make readable, to end another thread's poll().
#pragma once

namespace lumicrate::x11 {

class WakeUp {
 public:
    /// Throws PlatformError when no descriptor is left.
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Readable after signal() until clear(). Any thread.
    int fileDescriptor() const { return descriptor_; }
    void signal() noexcept;
    void clear() noexcept;

 private:
    int descriptor_;
};

}  // namespace lumicrate::x11
