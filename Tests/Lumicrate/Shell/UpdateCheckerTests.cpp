// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/UpdateChecker.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class UpdateCheckerTests : public testing::Test, protected NSURLSession {
 protected:
    void data(const NSURLRequest& request, Completion completion) override {
        EXPECT_EQ(request.timeoutInterval, 15s);
        urls.push_back(request.url);
        deliver = std::move(completion);
    }
    /// The messages of the alerts that a body leads to.
    std::vector<std::string> check(bool userInitiated, std::optional<std::string> body) {
        checker.check(userInitiated);
        executor.drain();
        deliver(std::move(body));
        executor.drain();
        return std::exchange(messages, {});
    }

    VirtualExecutor executor;
    FakeDefaults defaults;
    FakeWorkspace workspace;
    double now = 1'700'000'000;
    Completion deliver;
    std::vector<std::string> urls, messages;
    std::function<void(NSAlertResponse)> answer;
    UpdateChecker::Services services{executor,
                                     defaults,
                                     *this,
                                     workspace,
                                     [this](const NSAlert& alert, auto answered) {
                                         messages.push_back(alert.messageText);
                                         answer = std::move(answered);
                                     },
                                     [](const std::string&) {},
                                     [this] { return now; }};
    UpdateChecker checker{services, {"Lumicrate", "1.2.3", "https://lumicrate.example"}};
};

TEST_F(UpdateCheckerTests, ComparesVersions) {
    const std::pair<const char*, const char*> newer[] = {
        {"1.10", "1.9"}, {"1.0.1", "1.0"}, {"1.4", "1.2b.3"}, {"2.1", "99999999999999999999.1"}};
    for (const auto& [a, b] : newer)
        EXPECT_TRUE(UpdateChecker::isNewer(a, b) && !UpdateChecker::isNewer(b, a)) << a;
    for (const char* same : {"2.3", "2.3.0", "2.1beta.3", "..2..3.", "2.3.x"})
        EXPECT_FALSE(UpdateChecker::isNewer(same, "2.3") || UpdateChecker::isNewer("2.3", same)) << same;
}

TEST_F(UpdateCheckerTests, ReadsVersionFilesOnly) {
    const std::vector<std::string> broken{"",
                                          "[]",
                                          "{}",
                                          R"({"version":2})",
                                          R"({"version":"1"} x)",
                                          R"({"version":"1\nnew"})",
                                          "{\"version\":\"\xff\"}",
                                          R"({"version":")" + std::string(65, '1') + R"("})",
                                          std::string(60'000, '[')};
    for (const std::string& text : broken)
        EXPECT_EQ(UpdateChecker::decode(text), std::nullopt) << text.substr(0, 40);
    const auto download = [](const std::string& address) {
        return UpdateChecker::decode(R"({"x":[],"version":"2","download":)" + address + "}")->download;
    };
    EXPECT_EQ(download(R"("https://a.b/c?d")"), "https://a.b/c?d");
    for (const char* address :
         {"null", "7", R"("")", R"("http://a.b")", R"("file:///etc/passwd")", R"("https:///a")",
          R"("https://a b")", R"("https://a.b\n")", R"("javascript:https://a.b")"})
        EXPECT_EQ(download(address), std::nullopt) << address;
}

TEST_F(UpdateCheckerTests, ShowsTheUserEveryOutcomeAndOtherwiseOnlyOffers) {
    const auto stored = [this] { return defaults.doubleForKey("lastUpdateCheck"); };
    EXPECT_THAT(check(false, std::nullopt), IsEmpty());
    EXPECT_THAT(check(true, "<html>"), ElementsAre("Couldn't check for updates"));
    EXPECT_EQ(stored(), 0);
    EXPECT_THAT(check(false, R"({"version":"1.2.3"})"), IsEmpty());
    EXPECT_EQ(stored(), now);
    EXPECT_THAT(check(true, R"({"version":"1.2.3"})"), ElementsAre("You're up to date"));
    for (const char* body : {R"({"version":"1.10"})", R"({"version":"1.10","download":"https://a.b/c"})"}) {
        EXPECT_THAT(check(false, body), ElementsAre("Lumicrate 1.10 is available"));
        answer({1, false});
        answer({0, false});
    }
    EXPECT_THAT(workspace.opened, ElementsAre("https://lumicrate.example/download", "https://a.b/c"));
    checker.check(false);  // The user asks while this one is running.
    EXPECT_THAT(check(true, std::nullopt), ElementsAre("Couldn't check for updates"));
    EXPECT_EQ(urls, std::vector(7, "https://lumicrate.example/version.json"s));
}

TEST_F(UpdateCheckerTests, ChecksOnceADayIfAllowed) {
    const auto isDue = [this](bool allowed, double age, const AppInfo& info) {
        defaults.stored = {{"checkForUpdates", allowed}, {"lastUpdateCheck", now - age}};
        UpdateChecker each(services, info);
        each.checkIfDue();
        executor.drain();
        return !std::exchange(urls, {}).empty();
    };
    const AppInfo info{"", "1", "https://lumicrate.example"};
    EXPECT_TRUE(isDue(true, now, info) && isDue(true, 86401, info));
    EXPECT_FALSE(isDue(true, 86400, info) || isDue(false, 86401, info));
    for (const AppInfo& without :
         {AppInfo{"", "1", info.site, true}, AppInfo{}, AppInfo{"", "1", "http://a.b"}})
        EXPECT_FALSE(isDue(true, now, without)) << without.site;
}

}  // namespace
}  // namespace lumicrate::test
