// BusService: the running program under its name on the session bus, and how others speak to it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// "org.lumicrate.Lumicrate", with one object, "/org/lumicrate/Lumicrate", whose interface has the name of
/// the service. Each method takes nothing and gives nothing or a text. Main thread, beside a running Qt event
/// loop.
class BusService {
 public:
    /// A method ("Toggle") and what it does; what it gives is the reply of those that reply.
    struct Method {
        std::string name;
        bool replies = false;
        std::function<std::string()> call;
    };
    enum class Outcome {
        claimed,  ///< this process is the one
        taken,    ///< another one runs already
        noBus,    ///< nobody can be spoken to here
    };

    explicit BusService(std::vector<Method> methods);
    /// Gives the name back.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Takes the name, from which moment on the methods are called from the event loop.
    Outcome claim();

 private:
    class Object;

    std::unique_ptr<Object> object_;
    bool claimed_ = false;
};

/// Calls a method of the program that runs and waits for its reply, which is empty for methods that have
/// none. Nothing when no program can be reached.
std::optional<std::string> callRunningProgram(const std::string& method);

}  // namespace lumicrate::desktop
