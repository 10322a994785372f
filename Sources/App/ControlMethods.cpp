// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/ControlMethods.h"

#include <cctype>

namespace lumicrate::app {

std::string methodName(RemoteCommand command) {
    std::string name(rawValue(command));
    name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
    return name;
}

std::vector<desktop::BusService::Method> controlMethods(RemoteControl& control) {
    std::vector<desktop::BusService::Method> methods;
    for (const RemoteCommand command : allCases<RemoteCommand>()) {
        methods.push_back({methodName(command), false, false, [&control, command](const std::string&) {
                               control.perform(command);
                               return std::string();
                           }});
    }
    methods.push_back(
        {statusMethod, false, true, [&control](const std::string&) { return toJSON(control.status()); }});
    methods.push_back({openMethod, true, false, [&control](const std::string& path) {
                           control.open(path);
                           return std::string();
                       }});
    return methods;
}

}  // namespace lumicrate::app
