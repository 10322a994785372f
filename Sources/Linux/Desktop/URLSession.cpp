// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/URLSession.h"

#include "Support/Log.h"

#include <QByteArray>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace lumicrate::desktop {

namespace {

constexpr int maxRedirects = 5;
constexpr int statusOK = 200;

const QString https = QStringLiteral("https");

QNetworkRequest makeRequest(const QUrl& url) {
    QNetworkRequest request(url);
    // Each redirect is checked.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setMaximumRedirectsAllowed(maxRedirects);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    // Otherwise Qt sends the user's language. Compressed data would have to be limited once more.
    request.setRawHeader("Accept-Language", "en");
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("User-Agent", "Lumicrate");
    return request;
}

/// Runs in a thread of its own, whose end aborts it.
std::optional<std::string> fetch(const NSURLRequest& asked) {
    const QUrl url(QString::fromStdString(asked.url));
    if (url.scheme() != https) {
        log(LogArea::desktop, "request refused: not https");
        return std::nullopt;
    }
    QNetworkAccessManager network;
    QEventLoop loop;
    const std::unique_ptr<QNetworkReply> reply(network.get(makeRequest(url)));
    const auto maxBytes = static_cast<qint64>(asked.maxBytes);
    // A fast server must wait until we have read.
    reply->setReadBufferSize(maxBytes + 1);
    QByteArray body;
    const char* refusal = nullptr;
    const auto refuse = [&](const char* reason) {
        refusal = reason;
        reply->abort();
    };
    QObject::connect(reply.get(), &QNetworkReply::redirected, reply.get(), [&](const QUrl& next) {
        if (next.scheme() != https) return refuse("redirected to something else than https");
        Q_EMIT reply->redirectAllowed();
    });
    QObject::connect(reply.get(), &QNetworkReply::readyRead, reply.get(), [&] {
        body += reply->readAll();
        if (body.size() > maxBytes) refuse("the body is too long");
    });
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(asked.timeoutInterval, reply.get(), [&] { refuse("timed out"); });
    loop.exec();

    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (!reply->isFinished() || refusal || reply->error() != QNetworkReply::NoError || status != statusOK) {
        log(LogArea::desktop, "request failed: ", refusal ? refusal : reply->errorString().toStdString(),
            ", status ", status);
        return std::nullopt;
    }
    return body.toStdString();
}

}  // namespace

URLSession::URLSession(Executor& executor) : executor_(executor) {}

URLSession::~URLSession() {
    for (const auto& request : requests_) {
        request->requestInterruption();
        request->quit();
    }
    for (const auto& request : requests_)
        request->wait();
}

bool URLSession::isBusy() const {
    return std::ranges::any_of(requests_, [](const auto& each) { return !each->isFinished(); });
}

void URLSession::data(const NSURLRequest& request, Completion completion) {
    std::erase_if(requests_, [](const auto& each) { return each->isFinished(); });
    requests_.emplace_back(QThread::create([this, request, completion = std::move(completion)] {
        std::optional<std::string> body = fetch(request);
        // Otherwise the session is being destroyed, and its owner with it.
        if (QThread::currentThread()->isInterruptionRequested()) return;
        executor_.post([completion, body = std::move(body)] { completion(body); });
    }));
    requests_.back()->start();
}

}  // namespace lumicrate::desktop
