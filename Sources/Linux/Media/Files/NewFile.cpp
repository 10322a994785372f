#include "Linux/Media/Files/NewFile.h"

#include "Linux/Media/Files/Failure.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

extern "C" {
#include <libavutil/error.h>
}

namespace lumicrate::media {

namespace {

/// Naming a file later goes by way of this folder.
bool canNameLater() {
    return access("/proc/self/fd", X_OK) == 0;
}

}  // namespace

NewFile::NewFile(std::filesystem::path path) : path_(std::move(path)) {
    struct stat existing {};
    if (lstat(path_.c_str(), &existing) == 0) fail(AVERROR(EEXIST));
    if (canNameLater()) file_ = createUnnamed(folderOf(path_));
    if (!file_.isOpen()) {
        file_ = createNamed(path_);
        named_ = file_.isOpen();
    }
    if (!file_.isOpen()) fail(AVERROR(errno));
}

NewFile::~NewFile() {
    if (named_ && !kept_) unlink(path_.c_str());
}

void NewFile::keep() {
    if (!named_) checked(AVERROR(giveName(file_, path_)));
    kept_ = true;
}

void NewFile::fail(int error) {
    failWithCode("The new file couldn't be written", error);
}

int NewFile::checked(int result) {
    if (result < 0) fail(result);
    return result;
}

}  // namespace lumicrate::media
