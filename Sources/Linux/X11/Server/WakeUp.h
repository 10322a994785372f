// WakeUp: lets any thread end another one's wait for file descriptors.
#pragma once

namespace lumicrate::x11 {

class WakeUp {
 public:
    /// Throws PlatformError when the system has no descriptor left.
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Becomes readable with signal(). Any thread.
    int fileDescriptor() const { return descriptor_; }
    void signal() noexcept;
    /// Forgets all signals so far.
    void clear() noexcept;

 private:
    int descriptor_;
};

}  // namespace lumicrate::x11
