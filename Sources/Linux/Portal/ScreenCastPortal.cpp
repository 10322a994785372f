// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/ScreenCastPortal.h"

#include "Linux/Portal/PortalError.h"
#include "Linux/Portal/PortalSession.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <QDBusArgument>
#include <QPoint>
#include <QSize>
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace lumicrate::portal {

namespace {

using Outcome = Answer::Outcome;

const QString interface = QStringLiteral("ScreenCast");

/// Since this version a choice can be restored.
constexpr std::uint32_t restoringVersion = 4;
/// The portal keeps a choice until the user revokes it.
constexpr uint persistsUntilRevoked = 2;
/// For a start without a question.
constexpr std::chrono::seconds restoreTimeout(5);

template <class Flag>
std::vector<Flag> flags(const QVariant& mask, std::initializer_list<Flag> known) {
    std::vector<Flag> set;
    std::ranges::copy_if(known, std::back_inserter(set),
                         [bits = mask.toUInt()](Flag each) { return (bits & static_cast<uint>(each)) != 0; });
    return set;
}

ScreenCastAbilities abilitiesIn(const QVariantMap& properties) {
    ScreenCastAbilities abilities;
    abilities.version = properties.value(QStringLiteral("version")).toUInt();
    abilities.sources = flags(properties.value(QStringLiteral("AvailableSourceTypes")),
                              {SourceKind::monitor, SourceKind::window, SourceKind::virtualMonitor});
    abilities.cursorModes = flags(properties.value(QStringLiteral("AvailableCursorModes")),
                                  {CursorMode::hidden, CursorMode::embedded, CursorMode::metadata});
    return abilities;
}

/// Nothing if the portal does not let programs choose, which means "hidden".
std::optional<CursorMode> cursorMode(const ScreenCastAbilities& abilities, bool shown) {
    const auto wishes = shown ? std::array{CursorMode::metadata, CursorMode::embedded, CursorMode::hidden}
                              : std::array{CursorMode::hidden, CursorMode::metadata, CursorMode::embedded};
    const auto* const found =
        std::ranges::find_if(wishes, [&](CursorMode each) { return abilities.offers(each); });
    return found != wishes.end() ? std::optional(*found) : std::nullopt;
}

QVariantMap selection(const ScreenCastRequest& request, const ScreenCastAbilities& abilities) {
    QVariantMap options{{QStringLiteral("types"), static_cast<uint>(request.kind)},
                        {QStringLiteral("multiple"), false}};
    if (const auto mode = cursorMode(abilities, request.showsCursor))
        options.insert(QStringLiteral("cursor_mode"), static_cast<uint>(*mode));
    if (abilities.version >= restoringVersion) {
        options.insert(QStringLiteral("persist_mode"), persistsUntilRevoked);
        if (!request.restoreToken.empty())
            options.insert(QStringLiteral("restore_token"), QString::fromStdString(request.restoreToken));
    }
    return options;
}

ScreenCastStream streamOf(std::uint32_t node, const QVariantMap& properties) {
    ScreenCastStream stream;
    stream.nodeId = node;
    const auto value = [&](const char* key) { return properties.value(QLatin1String(key)); };
    if (const QVariant serial = value("pipewire-serial"); serial.isValid())
        stream.serial = serial.toULongLong();
    for (const auto kind : {SourceKind::monitor, SourceKind::window, SourceKind::virtualMonitor})
        if (value("source_type").toUInt() == static_cast<uint>(kind)) stream.source = kind;
    if (const QVariant told = value("position"); told.isValid()) {
        const QPoint position = qdbus_cast<QPoint>(told);
        stream.position = Point{double(position.x()), double(position.y())};
    }
    if (const QVariant told = value("size"); told.isValid()) {
        const QSize size = qdbus_cast<QSize>(told);
        if (!size.isEmpty()) stream.size = Size{double(size.width()), double(size.height())};
    }
    stream.id = value("id").toString().toStdString();
    stream.mappingId = value("mapping_id").toString().toStdString();
    return stream;
}

/// The portal's type is a(ua{sv}).
std::vector<ScreenCastStream> streamsIn(const QVariant& value) {
    std::vector<ScreenCastStream> streams;
    if (!value.canConvert<QDBusArgument>()) return streams;
    const auto list = value.value<QDBusArgument>();
    if (list.currentSignature() != QStringLiteral("a(ua{sv})")) return streams;
    list.beginArray();
    while (!list.atEnd()) {
        uint node = 0;
        QVariantMap properties;
        list.beginStructure();
        list >> node >> properties;
        list.endStructure();
        streams.push_back(streamOf(node, properties));
    }
    list.endArray();
    return streams;
}

[[noreturn]] void throwUnavailable(const char* sentence) {
    throw PortalError(PortalError::Reason::unavailable, localized(sentence));
}

void requireOffer(const ScreenCastAbilities& abilities, SourceKind kind) {
    if (!abilities.isAvailable())
        throwUnavailable(translatable("This desktop does not let programs record the screen."));
    if (abilities.offers(kind)) return;
    throwUnavailable(kind == SourceKind::window
                         ? translatable("This desktop does not let programs record a single window.")
                         : translatable("This desktop does not let programs record a whole screen."));
}

}  // namespace

bool ScreenCastAbilities::offers(SourceKind kind) const {
    return std::ranges::find(sources, kind) != sources.end();
}

bool ScreenCastAbilities::offers(CursorMode mode) const {
    return std::ranges::find(cursorModes, mode) != cursorModes.end();
}

struct ScreenCastPortal::Attempt {
    Outcome outcome = Outcome::failed;
    std::optional<ScreenCast> cast;
};

ScreenCastPortal::ScreenCastPortal(Executor& executor, Registry& registry, std::chrono::milliseconds timeout)
    : executor_(executor), registry_(registry), timeout_(timeout) {}

ScreenCastAbilities ScreenCastPortal::abilities() {
    return abilitiesIn(propertiesIn(sendAndWait(propertiesCall(interface), blockingTimeout)));
}

Task<ScreenCastAbilities> ScreenCastPortal::queryAbilities() {
    Task<QDBusMessage> asking = send(executor_, propertiesCall(interface), timeout_);
    const QDBusMessage reply = co_await asking;
    co_return abilitiesIn(propertiesIn(reply));
}

Task<std::optional<ScreenCast>> ScreenCastPortal::choose(ScreenCastRequest request) {
    Task<> enrolling = registry_.enroll();
    co_await enrolling;
    Task<ScreenCastAbilities> asking = queryAbilities();
    const ScreenCastAbilities abilities = co_await asking;
    requireOffer(abilities, request.kind);

    Task<Attempt> choosing = attempt(request, abilities, noTimeout);
    Attempt made = co_await choosing;
    if (made.outcome == Outcome::failed && !request.restoreToken.empty()) {
        log(LogArea::desktop, "portal: the screen cast could not be restored");
        request.restoreToken.clear();
        Task<Attempt> again = attempt(request, abilities, noTimeout);
        made = co_await again;
    }
    switch (made.outcome) {
        case Outcome::granted:
            co_return std::move(made.cast);
        case Outcome::cancelled:
            co_return std::nullopt;
        case Outcome::failed:
            throw PortalError(PortalError::Reason::failed,
                              localized("The desktop could not start recording the screen."));
        case Outcome::timedOut:
            throwUnavailable(translatable("The desktop portal does not answer."));
        case Outcome::unavailable:
            break;
    }
    throwUnavailable(translatable("The desktop portal has stopped working."));
}

Task<std::optional<ScreenCast>> ScreenCastPortal::restore(ScreenCastRequest request) {
    Task<> enrolling = registry_.enroll();
    co_await enrolling;
    Task<ScreenCastAbilities> asking = queryAbilities();
    const ScreenCastAbilities abilities = co_await asking;
    if (abilities.version < restoringVersion || !abilities.offers(request.kind)) co_return std::nullopt;
    Task<Attempt> restoring = attempt(request, abilities, restoreTimeout);
    Attempt made = co_await restoring;
    co_return std::move(made.cast);
}

Task<ScreenCastPortal::Attempt> ScreenCastPortal::attempt(ScreenCastRequest request,
                                                          ScreenCastAbilities abilities,
                                                          std::chrono::milliseconds startTimeout) {
    auto session = std::make_unique<PortalSession>(executor_, interface);
    Task<Answer> creating = session->create({}, timeout_);
    Answer answer = co_await creating;
    if (!answer.isGranted()) co_return Attempt{answer.outcome, {}};

    Task<Answer> selecting =
        session->ask(QStringLiteral("SelectSources"), {}, selection(request, abilities), timeout_);
    answer = co_await selecting;
    if (!answer.isGranted()) co_return Attempt{answer.outcome, {}};

    Task<Answer> starting = session->ask(QStringLiteral("Start"),
                                         {QString::fromStdString(request.parentWindow)}, {}, startTimeout);
    answer = co_await starting;
    if (!answer.isGranted()) co_return Attempt{answer.outcome, {}};

    ScreenCast::Facts facts{
        streamsIn(answer.results.value(QStringLiteral("streams"))),
        answer.results.value(QStringLiteral("restore_token")).toString().toStdString(),
        cursorMode(abilities, request.showsCursor).value_or(CursorMode::hidden),
    };
    if (facts.streams.empty() || !session->isOpen()) co_return Attempt{Outcome::failed, {}};
    log(LogArea::desktop, "portal: ", facts.streams.size(), " stream(s), cursor mode ",
        static_cast<int>(facts.cursorMode), facts.restoreToken.empty() ? ", no token" : ", a token");
    co_return Attempt{Outcome::granted, ScreenCast(std::move(session), std::move(facts))};
}

}  // namespace lumicrate::portal
