// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/UpdateChecker.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using Feed = UpdateChecker::Feed;

struct FakeSession final : NSURLSession {
    void data(const NSURLRequest& request, Completion completion) override {
        EXPECT_EQ(request.timeoutInterval, 15s);
        urls.push_back(request.url);
        answer = std::move(completion);
    }
    std::vector<std::string> urls;
    Completion answer;
};

class UpdateCheckerTests : public testing::Test {
 protected:
    /// The alerts that a body leads to, as "message|buttons".
    std::vector<std::string> check(bool userInitiated, std::optional<std::string> body) {
        alerts.clear();
        checker.check(userInitiated);
        executor.drain();
        session.answer(std::move(body));
        executor.drain();
        return alerts;
    }
    void showAlert(const NSAlert& alert, std::function<void(NSAlertResponse)> answered) {
        alerts.push_back(alert.messageText + "|" + alert.informativeText);
        buttons = alert.buttons;
        answer = std::move(answered);
    }

    VirtualExecutor executor;
    FakeDefaults defaults;
    FakeSession session;
    FakeWorkspace workspace;
    double now = 1'700'000'000;
    std::vector<std::string> alerts, buttons;
    std::function<void(NSAlertResponse)> answer;
    UpdateChecker::Services services{executor,
                                     defaults,
                                     session,
                                     workspace,
                                     [this](auto& alert, auto done) { showAlert(alert, done); },
                                     [](const std::string&) {},
                                     [this] { return now; }};
    UpdateChecker checker{services, {"Lumicrate", "1.2.3", "https://lumicrate.example"}};
};

const std::string failed = "Couldn't check for updates|Check your internet connection and try again.";
const std::string newest = "You're up to date|Lumicrate 1.2.3 is the latest version.";
const std::string offered =
    "Lumicrate 1.10 is available|You have 1.2.3. Download the new version from the "
    "website and replace the app in Applications.";

TEST_F(UpdateCheckerTests, ComparesVersions) {
    const struct {
        const char *a, *b;
        bool newer;
    } cases[] = {{"1.10", "1.9", true},
                 {"2.0", "2", false},
                 {"1.0.1", "1.0", true},
                 {"1.2beta.3", "1.3", false},
                 {"1.4", "1.2b.3", true},
                 {"", "", false},
                 {"99999999999999999999", "1", false},
                 {"..2..1", "2", true},
                 {"x", "0.1", false}};
    for (const auto& each : cases)
        EXPECT_EQ(UpdateChecker::isNewer(each.a, each.b), each.newer) << each.a;
}

TEST_F(UpdateCheckerTests, ReadsVersionFilesOnly) {
    const std::string deep(60'000, '[');
    const std::string longVersion(65, '1');
    for (const std::string& text :
         {std::string(), std::string("[]"), std::string("{}"), std::string(R"({"version":2})"), deep,
          R"({"version":"1","x":)" + deep + "}", R"({"version":")" + longVersion + R"("})",
          std::string(R"({"version":"1\nnew"})"), std::string("{\"version\":\"\xff\"}"),
          std::string(R"({"version":"1"} x)")})
        EXPECT_EQ(UpdateChecker::decode(text), std::nullopt) << text.substr(0, 40);
    EXPECT_EQ(UpdateChecker::decode(R"({"version":"2","download":"https://a.b/c?d","new":[]})"),
              (Feed{"2", "https://a.b/c?d"}));
    for (const char* address :
         {"null", "7", R"("")", R"("http://a.b/")", R"("file:///etc/passwd")", R"("https://")",
          R"("https:///a")", R"("https://a b")", R"("HTTPS://a.b\n")", R"("javascript:https://a.b")"})
        EXPECT_EQ(UpdateChecker::decode(R"({"version":"2","download":)" + std::string(address) + "}"),
                  (Feed{"2", {}}))
            << address;
}

TEST_F(UpdateCheckerTests, TellsTheUserEverythingAndOtherwiseOnlyOffers) {
    const struct {
        std::optional<std::string> body;
        std::vector<std::string> automatic, user;
    } cases[] = {{{}, {}, {failed}},
                 {"<html>", {}, {failed}},
                 {R"({"version":"1.2.3"})", {}, {newest}},
                 {R"({"version":"1.10"})", {offered}, {offered}}};
    for (const auto& each : cases) {
        EXPECT_EQ(check(false, each.body), each.automatic);
        EXPECT_EQ(check(true, each.body), each.user);
        EXPECT_EQ(defaults.doubleForKey("lastUpdateCheck"), each.user[0] == failed ? 0 : now);
    }
    EXPECT_THAT(buttons, ElementsAre("Download", "Later"));
    answer({1, false});
    EXPECT_THAT(workspace.opened, IsEmpty());
    answer({0, false});
    check(false, R"({"version":"1.10","download":"https://a.b/c"})");
    answer({0, false});
    EXPECT_THAT(workspace.opened, ElementsAre("https://lumicrate.example/download", "https://a.b/c"));
    // The user asks while an automatic check is running.
    checker.check(false);
    EXPECT_EQ(check(true, std::nullopt), std::vector{failed});
    EXPECT_THAT(session.urls, SizeIs(10));
    EXPECT_EQ(session.urls[0], "https://lumicrate.example/version.json");
}

TEST_F(UpdateCheckerTests, ChecksOnceADayIfAllowed) {
    const auto isDue = [this](bool allowed, double age, const AppInfo& info) {
        defaults.stored = {{"checkForUpdates", allowed}, {"lastUpdateCheck", now - age}};
        session.urls.clear();
        UpdateChecker each(services, info);
        each.checkIfDue();
        executor.drain();
        return !session.urls.empty();
    };
    const AppInfo info{"", "1", "https://lumicrate.example"};
    EXPECT_FALSE(isDue(true, 86400, info));
    EXPECT_TRUE(isDue(true, 86401, info));
    EXPECT_TRUE(isDue(true, now, info));
    EXPECT_FALSE(isDue(false, 86401, info));
    for (const AppInfo& without : {AppInfo{"", "1", info.site, true}, AppInfo{"", "1", ""},
                                   AppInfo{"", "1", "http://lumicrate.example"}})
        EXPECT_FALSE(isDue(true, 86401, without)) << without.site;
}

}  // namespace
}  // namespace lumicrate::test
