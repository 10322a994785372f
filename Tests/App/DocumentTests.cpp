// SPDX-License-Identifier: GPL-3.0-or-later
// What the program prints about itself: the manual page, and completions that real shells run.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <fstream>
#include <regex>

namespace lumicrate::test {
namespace {

using stage::runToEnd;

class DocumentTests : public ProgramTest {
 protected:
    DocumentTests() : ProgramTest({.display = {640, 480, false, false}}) {
        const std::string videos = folder.path();
        std::ofstream(folder / "user-dirs.dirs") << "XDG_VIDEOS_DIR=\"" << videos << "\"\n";
        std::filesystem::create_directory(folder / "Lumicrate");
        std::ofstream(folder / "Lumicrate" / "my talk.mp4") << "no movie";
        for (const char* kind : {"man", "bash", "zsh", "fish"}) {
            const Outcome printed = run({"generate", kind});
            EXPECT_EQ(printed.status, 0);
            std::ofstream(folder / kind) << printed.output;
        }
        std::filesystem::rename(folder / "zsh", folder / "_lumicrate");
        environment["HOME"] = environment["XDG_CONFIG_HOME"] = environment["ZDOTDIR"] =
            folder.path().string();
        environment["PATH"] =
            std::filesystem::path(LUMICRATE_PROGRAM).parent_path().string() + ":" + std::getenv("PATH");
    }

    static bool hasShell(const std::string& name) { return runToEnd({"which", name}).status == 0; }

    /// The candidates, one per line.
    std::string bash(const std::string& line) {
        const std::string script = R"(source "$1"; COMP_LINE=$2; COMP_POINT=${#2}
            read -ra COMP_WORDS <<< "${2//=/ = }"; [[ $2 == *' ' ]] && COMP_WORDS+=("")
            COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lumicrate; printf '%s\n' "${COMPREPLY[@]}")";
        return runToEnd({"bash", "-c", script, "bash", folder / "bash", line}, environment).output;
    }
    /// The candidates with their descriptions, one per line.
    std::string fish(const std::string& line) {
        return runToEnd({"fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
                         folder / "fish", line},
                        environment)
            .output;
    }
    /// The line after the Tab key.
    std::string zsh(const std::string& line) {
        const std::string script = R"(zmodload zsh/zpty; zpty shell zsh -f
            zpty -w shell "fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -d $1/dump
                show() { zle complete-word; print -r -- \"\$BUFFER\" > $1/result; exit }
                zle -N show; bindkey '^X' show"
            zpty -n -w shell "$2"$'\x18'
            while zpty -t shell; do zpty -r shell; done; cat $1/result)";
        const auto output =
            runToEnd({"zsh", "-f", "-c", script, "zsh", folder.path(), line}, environment).output;
        const auto end = output.find_last_not_of('\n');
        const auto begin = output.find_last_of('\n', end) + 1;
        return end == std::string::npos ? "" : output.substr(begin, end + 1 - begin);
    }

    stage::Environment environment;
};

TEST_F(DocumentTests, TheManualPageIsCorrectTroff) {
    const auto page = runToEnd({"man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", folder / "man"},
                               {{"LC_ALL", "C.UTF-8"}, {"MANWIDTH", "80"}});
    EXPECT_EQ(page.status, 0);
    EXPECT_EQ(page.error, "");
    EXPECT_THAT(runToEnd({"man", "-l", folder / "man"}, {{"LC_ALL", "C.UTF-8"}, {"MANWIDTH", "80"}}).output,
                testing::ContainsRegex("lumicrate trim FILE .*\n.*\n *--replace\n"));
}

TEST_F(DocumentTests, ShellsCompleteWhatThereIs) {
    const TestWindow window(display(), {.frame = {10, 20, 300, 200}, .managed = true, .title = "Notes"});
    const std::string id = std::to_string(window.id());
    const struct {
        std::string typed, word, description;
    } cases[] = {
        {"lumicrate sour", "sources", "List displays, windows, microphones and cameras."},
        {"lumicrate --action record-a", "record-area", ""},
        {"lumicrate record --enc", "--encoding-quality", "Bit rate: standard, high or maximum."},
        {"lumicrate record --format mo", "movHEVC", ""},
        {"lumicrate record --window ", id, "document-tests: Notes"},
        {"lumicrate record --window=", id, "document-tests: Notes"},
        {"lumicrate settings webcamMirr", "webcamMirror", "true or false"},
        {"lumicrate settings countdown t", "true", "the present value"},
        {"lumicrate open my", folder / "Lumicrate" / "my talk.mp4", ""},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(bash(each.typed), each.word + "\n") << each.typed;
        const std::string described = each.word + (each.description.empty() ? "" : "\t" + each.description);
        if (hasShell("fish")) {
            EXPECT_THAT(fish(each.typed), testing::HasSubstr(described)) << each.typed;
        }
        if (!hasShell("zsh")) continue;
        const std::string kept = each.typed.substr(0, each.typed.find_last_of(" =") + 1);
        EXPECT_THAT(zsh(each.typed),
                    testing::StartsWith(kept + std::regex_replace(each.word, std::regex(" "), "\\ ")));
    }
}

}  // namespace
}  // namespace lumicrate::test
