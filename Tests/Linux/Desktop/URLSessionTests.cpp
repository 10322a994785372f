// SPDX-License-Identifier: GPL-3.0-or-later
// Requests to a local https server that misbehaves in every way. Its certificate is made by "openssl".
#include "Linux/Desktop/URLSession.h"
#include "Tests/Linux/LoopExecutor.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QThread>
#include <atomic>
#include <future>

namespace lumicrate::desktop {
namespace {

using namespace std::chrono_literals;

/// As long as is allowed.
const std::string full(65536, 'x');

QSslConfiguration makeCertificate(const std::filesystem::path& folder) {
    const QString key = QString::fromStdString(folder / "key");
    const QString certificate = QString::fromStdString(folder / "certificate");
    QProcess openssl;
    openssl.start("openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                              "-nodes", "-keyout", key, "-out", certificate, "-subj", "/CN=localhost",
                              "-addext", "subjectAltName=DNS:localhost"});
    EXPECT_TRUE(openssl.waitForFinished() && openssl.exitCode() == 0);
    QFile file(key);
    file.open(QFile::ReadOnly);
    QSslConfiguration made;
    made.setPrivateKey(QSslKey(&file, QSsl::Ec));
    made.setLocalCertificateChain(QSslCertificate::fromPath(certificate));
    return made;
}

/// Answers each path in its own way, on a thread of its own.
class HttpsServer {
 public:
    explicit HttpsServer(const QSslConfiguration& certificate) {
        std::promise<quint16> listening;
        thread_.reset(QThread::create([this, certificate, &listening] {
            QSslServer server;
            server.setSslConfiguration(certificate);
            QObject::connect(&server, &QSslServer::pendingConnectionAvailable, &server, [&] {
                QTcpSocket* socket = server.nextPendingConnection();
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    if (socket->peek(8192).contains("\r\n\r\n")) answer(*socket, socket->readAll());
                });
            });
            server.listen(QHostAddress::LocalHost);
            listening.set_value(server.serverPort());
            QEventLoop().exec();
        }));
        thread_->start();
        port = listening.get_future().get();
    }
    ~HttpsServer() {
        thread_->quit();
        thread_->wait();
    }

    quint16 port = 0;
    std::atomic<qint64> sent = 0;

 private:
    void answer(QTcpSocket& socket, const QByteArray& request) {
        const QByteArray path = request.split(' ').value(1);
        const QByteArray here = "https://localhost:" + QByteArray::number(port);
        const auto redirect = [](const QByteArray& to) {
            return "302 Found\r\nLocation: " + to + "\r\n\r\n";
        };
        const std::map<QByteArray, QByteArray> answers{
            {"/request", "200 OK\r\nSet-Cookie: a=b\r\n\r\n" + request},
            {"/full", "200 OK\r\n\r\n" + QByteArray(65536, 'x')},
            {"/moved", redirect(here + "/full")},
            {"/missing", "404 Not Found\r\n\r\n{}"},
            {"/longer", "200 OK\r\n\r\n" + QByteArray(65537, 'x')},
            {"/lies", "200 OK\r\nContent-Length: 1000\r\n\r\n{}"},
            {"/plain", redirect("http://localhost:" + QByteArray::number(port))},
            {"/local", redirect("file:///etc/hostname")},
            {"/circle", redirect(here + "/circle")}};
        if (path == "/hang") return;
        if (path == "/endless") {
            socket.write("HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\n");
            auto& encrypted = static_cast<QSslSocket&>(socket);
            QObject::connect(
                &encrypted, &QSslSocket::encryptedBytesWritten, [this, &encrypted](qint64 bytes) {
                    if ((sent += bytes) < 1'000'000'000 && encrypted.encryptedBytesToWrite() == 0)
                        encrypted.write(QByteArray(1 << 20, 'x'));
                });
            return;
        }
        const auto found = answers.find(path);
        socket.write(found == answers.end() ? QByteArray("\0garbage\r\n", 10) : "HTTP/1.1 " + found->second);
        socket.disconnectFromHost();
    }

    std::unique_ptr<QThread> thread_;
};

class URLSessionTests : public testing::Test {
 protected:
    URLSessionTests() {
        QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
        trusting.setCaCertificates(certificate.localCertificateChain());
        QSslConfiguration::setDefaultConfiguration(trusting);
    }
    std::optional<std::string> fetch(const std::string& url) {
        std::optional<std::optional<std::string>> result;
        URLSession session(executor);
        session.data({url, 2s, 65536}, [&](auto body) { result = std::move(body); });
        EXPECT_TRUE(executor.await([&] { return result.has_value(); }));
        return result.value_or(std::nullopt);
    }
    static std::string address(const HttpsServer& at, const std::string& path) {
        return "https://localhost:" + std::to_string(at.port) + path;
    }

    test::LoopExecutor executor;
    test::TemporaryFolder folder, otherFolder;
    QSslConfiguration certificate = makeCertificate(folder.path());
    HttpsServer server{certificate};
};

TEST_F(URLSessionTests, DownloadsOverHttpsAndSaysNothingAboutTheUser) {
    EXPECT_TRUE(fetch(address(server, "/full")) == full);
    EXPECT_TRUE(fetch(address(server, "/moved")) == full);
    const std::string expected = "GET /request HTTP/1.1\r\nHost: localhost:" + std::to_string(server.port) +
                                 "\r\nCache-Control: no-cache\r\nPragma: no-cache\r\nAccept-Language: "
                                 "en\r\nAccept-Encoding: identity\r\n"
                                 "User-Agent: Lumicrate\r\nConnection: Keep-Alive\r\n\r\n";
    for (int times = 0; times < 2; ++times)
        EXPECT_EQ(fetch(address(server, "/request")), expected);
}

TEST_F(URLSessionTests, RefusesEverythingElse) {
    for (const char* path :
         {"/missing", "/longer", "/lies", "/plain", "/local", "/circle", "/endless", "/garbage", "/hang"})
        EXPECT_EQ(fetch(address(server, path)), std::nullopt) << path;
    EXPECT_LT(server.sent, 20'000'000);
    const HttpsServer untrusted(makeCertificate(otherFolder.path()));
    EXPECT_EQ(fetch(address(untrusted, "/full")), std::nullopt);
    const std::string port = std::to_string(server.port);
    for (const std::string& url :
         {"https://127.0.0.1:" + port + "/full", "http://localhost:" + port + "/full",
          std::string("file:///etc/hostname"), std::string("https://localhost:1/"), std::string()})
        EXPECT_EQ(fetch(url), std::nullopt) << url;
}

TEST_F(URLSessionTests, ADestroyedSessionEndsItsRequestsSilently) {
    bool called = false;
    const auto begin = std::chrono::steady_clock::now();
    {
        URLSession session(executor);
        session.data({address(server, "/hang"), 60s, 65536}, [&](auto) { called = true; });
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    EXPECT_TRUE(fetch(address(server, "/moved")) == full);
    EXPECT_FALSE(called);
}

}  // namespace
}  // namespace lumicrate::desktop
