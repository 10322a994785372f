// Moments for people.
#pragma once

#include <chrono>
#include <string>

namespace lumicrate::views {

/// "5 May 2024, 14:03", in the user's language and time zone.
std::string formatDate(std::chrono::system_clock::time_point moment);

}  // namespace lumicrate::views
