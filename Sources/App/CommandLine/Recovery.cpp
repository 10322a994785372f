#include "App/CommandLine/Recovery.h"

#include "Linux/Desktop/StateFolder.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <vector>

namespace lumicrate::app {

namespace {

std::string sentence(const media::RecoveredMovie& movie) {
    if (!movie.error) {
        return fmt::format(fmt::runtime(localized("Finished the interrupted recording “{}”.")),
                           movie.path.string());
    }
    return fmt::format(fmt::runtime(localized("The interrupted recording “{}” couldn't be finished: {}")),
                       movie.path.string(), localizedDescription(movie.error));
}

}  // namespace

media::RecoveryList unfinishedMovies() {
    return media::RecoveryList(desktop::stateFolder() / "unfinished");
}

std::vector<std::string> recoverInterruptedRecordings() {
    std::vector<std::string> sentences;
    for (const media::RecoveredMovie& movie : media::recoverMovies(unfinishedMovies()))
        sentences.push_back(sentence(movie));
    return sentences;
}

void finishInterruptedRecordings() {
    for (const std::string& each : recoverInterruptedRecordings())
        fmt::print(stderr, "lumicrate: {}\n", each);
}

}  // namespace lumicrate::app
