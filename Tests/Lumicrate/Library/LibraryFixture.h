// SPDX-License-Identifier: GPL-3.0-or-later
// A library over fake files, and what the user interface is asked for.
#pragma once

#include "Lumicrate/Library/RecordingLibrary.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {

using namespace std::chrono_literals;
using Path = std::filesystem::path;

const Path folderPath = "/home/me/Movies/Lumicrate";
const RecordingLibrary::Instant launch{1000h};

class LibraryFixture : public testing::Test {
 protected:
    class Files final : public FakeFiles {
     public:
        void moveItem(const Path& from, const Path& to) override {
            FakeFiles::moveItem(from, to);
            for (NSFileEntry& each : entries)
                if (each.url == from) each.url = to;
        }
        void trashItem(const Path& url) override {
            FakeFiles::trashItem(url);
            std::erase_if(entries, [&](const NSFileEntry& each) { return each.url == url; });
        }
    };
    class Workspace final : public NSWorkspace {
     public:
        void openURL(const Path& url) override { opened.push_back(url.filename()); }
        void activateFileViewerSelecting(const std::vector<Path>&) override {
            throw PlatformError("There is no file viewer.");
        }
        std::vector<Path> opened;
    };
    struct Watch final : public FolderWatch {
        explicit Watch(Handler& place) : handler(place) {}
        void setOnChange(Handler changed) override { handler = std::move(changed); }
        Handler& handler;
    };
    LibraryFixture() {
        files.folders = {folderPath};
        makeLibrary(1);
    }
    void makeLibrary(int queues) {
        DurationReader::Readers readers;
        readers.read = [this](const Path& url) {
            read.push_back(url.filename());
            const auto found = durations.find(url.filename());
            if (onRead) onRead();
            if (found == durations.end()) throw PlatformError("It isn't a movie.");
            return found->second;
        };
        for (int i = 0; i < queues; ++i)
            readers.queues.push_back(std::make_unique<VirtualQueue>(executor));
        library.emplace(
            RecordingLibrary::Services{executor, files, notifications, folder, workspace, std::move(readers),
                                       std::make_unique<Watch>(changed),
                                       [this](const Path& url) { previewed.push_back(url.filename()); },
                                       [this] { ++beeps; }},
            launch);
    }

    /// Creates or replaces a file that is `age` older than the launch.
    void put(const std::string& name, std::chrono::hours age, std::uintmax_t size = 100) {
        remove(name);
        files.existing.insert(folderPath / name);
        files.entries.push_back({folderPath / name, launch - age, size});
    }
    void remove(const std::string& name) {
        files.existing.erase(folderPath / name);
        std::erase_if(files.entries, [&](const NSFileEntry& each) { return each.url == folderPath / name; });
    }
    void reload() {
        library->reload();
        executor.drain();
    }

    VirtualExecutor executor;
    Files files;
    FakeCalendar calendar;
    NotificationCenter notifications;
    RecordingFolder folder{files, calendar};
    Workspace workspace;
    FolderWatch::Handler changed;
    std::map<Path, double> durations;
    std::vector<Path> read;
    std::function<void()> onRead;  ///< called while a duration is read
    std::vector<Path> previewed;
    int beeps = 0;
    std::optional<RecordingLibrary> library;
};

}  // namespace lumicrate::test
