#include "App/CommandLine/Recovery.h"

#include "Linux/Desktop/StateFolder.h"
#include "Linux/Media/MovieRecovery.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <cstdio>

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

media::UnfinishedMovies unfinishedMovies() {
    return media::UnfinishedMovies(desktop::stateFolder() / "unfinished");
}

void finishInterruptedRecordings() {
    for (const media::RecoveredMovie& movie : media::recoverMovies(unfinishedMovies()))
        fmt::print(stderr, "lumicrate: {}\n", sentence(movie));
}

}  // namespace lumicrate::app
