// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/AfterSave.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <optional>
#include <utility>

namespace lumicrate {

std::vector<std::string> commandWords(std::string_view command) {
    std::vector<std::string> words;
    std::optional<std::string> word;
    char quote = 0;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const char each = command[i];
        const bool isSpace = each == ' ' || each == '\t' || each == '\n';
        const bool isQuote = each == '"' || each == '\'';
        if (quote == 0 && isSpace) {
            if (word) words.push_back(*std::exchange(word, std::nullopt));
            continue;
        }
        if (!word) word.emplace();
        if (quote == each) {
            quote = 0;
        } else if (quote == 0 && isQuote) {
            quote = each;
        } else if (each == '\\' && quote != '\'' && i + 1 < command.size()) {
            const char next = command[++i];
            // Inside quotes it only protects what would otherwise have a meaning there.
            if (quote == '"' && next != '"' && next != '\\') *word += each;
            *word += next;
        } else {
            *word += each;
        }
    }
    if (quote != 0) throw LocalizedError(localized("The command has a quote that is not closed."));
    if (word) words.push_back(*word);
    return words;
}

std::vector<std::string> commandFor(std::string_view command, const std::filesystem::path& file) {
    constexpr std::string_view place = "{}";
    std::vector<std::string> words = commandWords(command);
    bool isPlaced = words.empty();
    for (std::string& word : words) {
        std::size_t at = 0;
        while ((at = word.find(place, at)) != std::string::npos) {
            word.replace(at, place.size(), file.string());
            at += file.string().size();
            isPlaced = true;
        }
    }
    if (!isPlaced) words.push_back(file.string());
    return words;
}

void runAfterSave(NSTaskLauncher& tasks, const std::string& command, const std::filesystem::path& file,
                  std::function<void(const std::string& sentence)> failed, std::function<void()> ended) {
    std::string program;
    try {
        const std::vector<std::string> words = commandFor(command, file);
        if (words.empty()) return ended ? ended() : void();
        program = words.front();
        tasks.launch(words, [program, failed, ended](int status) {
            log(LogArea::recorder, "the command after saving ended with status ", status);
            if (status != 0)
                failed(localized("The command after saving, “{}”, failed with status {}.",
                                 {program, std::to_string(status)}));
            if (ended) ended();
        });
    } catch (const LocalizedError& error) {
        failed(localized("The command after saving couldn't be run: ") + error.what());
        if (ended) ended();
    }
}

AfterSave::AfterSave(NotificationCenter& notifications, const NSUserDefaults& defaults, NSTaskLauncher& tasks,
                     std::function<void(const std::string& sentence)> failed)
    : saves_(notifications.observe(
          recordingSavedNotification,
          [&defaults, &tasks, failed = std::move(failed)](const NotificationCenter::Object& url) {
              const std::string command = defaults.stringForKey(preference::afterSave).value_or("");
              if (url) runAfterSave(tasks, command, *url, failed);
          })) {}

}  // namespace lumicrate
