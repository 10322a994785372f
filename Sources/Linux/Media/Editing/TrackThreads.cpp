#include "Linux/Media/Editing/TrackThreads.h"

#include <exception>
#include <mutex>
#include <thread>

namespace lumicrate::media {

void writeTogether(OutputMovie& movie, const std::vector<std::function<void()>>& writers) {
    std::mutex mutex;
    std::exception_ptr first;
    {
        std::vector<std::jthread> threads;
        for (const auto& writer : writers) {
            threads.emplace_back([&] {
                try {
                    writer();
                } catch (...) {
                    const std::lock_guard lock(mutex);
                    if (!first) first = std::current_exception();
                    movie.abandon();
                }
            });
        }
    }
    if (first) std::rethrow_exception(first);
}

}  // namespace lumicrate::media
