// SPDX-License-Identifier: GPL-3.0-or-later
// Requests to https-server.py, which misbehaves in every way.
#include "Linux/Desktop/URLSession.h"
#include "Tests/Linux/LoopExecutor.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QProcess>
#include <QSslConfiguration>

namespace lumicrate::desktop {
namespace {

using namespace std::chrono_literals;

const std::string full(65536, 'x');

class HttpsServer {
 public:
    HttpsServer() {
        process_.start("python3", {HTTPS_SERVER, QString::fromStdString(folder.path())});
        EXPECT_TRUE(process_.waitForReadyRead());
        at = "localhost:" + process_.readLine().trimmed().toStdString();
    }
    ~HttpsServer() {
        process_.kill();
        process_.waitForFinished();
    }
    std::string url(const std::string& path) const { return "https://" + at + path; }

    std::string at;  ///< "localhost:1234"
    test::TemporaryFolder folder;

 private:
    QProcess process_;
};

class URLSessionTests : public testing::Test {
 protected:
    URLSessionTests() {
        auto trusting = QSslConfiguration::defaultConfiguration();
        trusting.addCaCertificates(QString::fromStdString(server.folder / "certificate"));
        QSslConfiguration::setDefaultConfiguration(trusting);
    }
    std::optional<std::string> fetch(const std::string& url) {
        std::optional<std::optional<std::string>> result;
        URLSession session(executor);
        session.data({url, 2s, full.size()}, [&](auto body) { result = std::move(body); });
        EXPECT_TRUE(executor.await([&] { return result.has_value(); }));
        return result.value_or(std::nullopt);
    }

    test::LoopExecutor executor;
    HttpsServer server;
};

TEST_F(URLSessionTests, DownloadsOverHttpsAndSaysNothingAboutTheUser) {
    EXPECT_TRUE(fetch(server.url("/full")) == full);
    EXPECT_TRUE(fetch(server.url("/moved")) == full);
    for (int times = 0; times < 2; ++times)
        EXPECT_EQ(fetch(server.url("/request")),
                  "GET /request HTTP/1.1\nHost: " + server.at +
                      "\nCache-Control: no-cache\nPragma: no-cache\nAccept-Language: en\n"
                      "Accept-Encoding: identity\nUser-Agent: Lumicrate\nConnection: Keep-Alive\n\n");
}

TEST_F(URLSessionTests, RefusesEverythingElse) {
    for (const char* path :
         {"missing", "longer", "lies", "plain", "local", "circle", "endless", "garbage", "hang"})
        EXPECT_EQ(fetch(server.url("/") + path), std::nullopt) << path;
    EXPECT_LT(std::stoi(fetch(server.url("/sent")).value_or("none")), 20'000'000);
    const HttpsServer untrusted;
    for (const std::string& url :
         {untrusted.url("/full"), "https://127.0.0.1" + server.at.substr(9) + "/full", "http://" + server.at,
          std::string("file:///etc/hostname"), std::string()})
        EXPECT_EQ(fetch(url), std::nullopt) << url;
}

TEST_F(URLSessionTests, ADestroyedSessionEndsItsRequestsSilently) {
    URLSession(executor).data({server.url("/hang"), 1h, 1}, [](auto) { FAIL(); });
    EXPECT_TRUE(fetch(server.url("/full")) == full);
}

}  // namespace
}  // namespace lumicrate::desktop
