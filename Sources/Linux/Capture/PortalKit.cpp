// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/PortalKit.h"

#include "Linux/Pictures/StillPicture.h"
#include "Linux/PipeWire/ScreenCastPicture.h"
#include "Linux/Wayland/Redraw.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace lumicrate::capture {

namespace {

using namespace std::chrono_literals;

/// For the first picture. Compositors send it at once.
constexpr auto firstPictureTimeout = 3s;
/// When the user stops the sharing, the pictures can end a little before the portal reports it.
constexpr auto closingTimeout = 500ms;
/// Keeps the numbers of shared windows apart from those of displays that no output matches.
constexpr std::uint32_t windowNumbers = 0x4000'0000;

constexpr const char* windowTokenKey = "portalToken.window";
constexpr const char* displayTokenKey = "portalToken.display";

struct FirstPicture {
    PixelSize size;
    CGImage image;
    std::exception_ptr error;
};

bool isEndOfCast(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const pipewire::ScreenCastEnded&) {
        return true;
    } catch (...) {
        return false;
    }
}

FirstPicture takeFirstPicture(const pipewire::ScreenCast& target) {
    FirstPicture first;
    try {
        SCStreamConfiguration configuration;
        configuration.showsCursor = false;
        pipewire::ScreenCastPicture live(target, configuration);
        if (!pictures::awaitComplete(live, firstPictureTimeout))
            throw PlatformError(localized("The desktop sends no picture of what was chosen."));
        first.size = {live.picture().width(), live.picture().height()};
        first.image = pictures::imageFrom(live.picture().view());
    } catch (...) {
        first.error = std::current_exception();
    }
    return first;
}

/// The output that a stream shows, by its place and size as far as they are known; of several the wanted one.
const SCDisplay* findOutput(const std::vector<SCDisplay>& outputs, const portal::ScreenCastStream& stream,
                            PixelSize pixels, std::optional<std::uint32_t> wanted) {
    // Portals of the wlroots family call a monitor a window, tell its size in pixels, and no true position.
    const bool isTrue = stream.source == portal::SourceKind::monitor;
    const Size taken(pixels.width, pixels.height);
    const SCDisplay* found = outputs.size() == 1 ? &outputs.front() : nullptr;
    for (const SCDisplay& each : outputs) {
        if (isTrue && stream.position && Point{each.frame.x, each.frame.y} != *stream.position) continue;
        const double scale = each.pointPixelScale;
        const Size ofOutput(std::round(each.frame.width * scale), std::round(each.frame.height * scale));
        const bool isSize = ofOutput == taken || (isTrue && each.frame.size() == stream.size);
        if (isSize && (!found || each.displayID == wanted)) found = &each;
    }
    return found;
}

portal::ScreenCastRequest portalRequest(const SCSharingRequest& request, std::string token) {
    const bool isWindow = request.kind == SCSharingRequest::Kind::window;
    return {isWindow ? portal::SourceKind::window : portal::SourceKind::monitor, request.showsCursor,
            std::move(token), std::string()};
}

/// As far as the portal describes them.
bool isSameSource(const portal::ScreenCastStream& a, const portal::ScreenCastStream& b) {
    if (a.source != b.source) return false;
    if (!a.id.empty() && !b.id.empty()) return a.id == b.id;
    // Only windows change their size.
    return a.position == b.position && (a.source == portal::SourceKind::window || a.size == b.size);
}

}  // namespace

/// What is shared now.
struct PortalKit::Shared {
    portal::ScreenCast cast;
    pipewire::ScreenCast target;
    SCSharedContent content;
    CGImage picture;  ///< of a display
    SCSharingRequest request;
    bool hasOutputs = false;                     ///< the compositor tells its outputs
    std::weak_ptr<CastSource::Lifeline> source;  ///< that delivers it, if any
};

PortalKit::PortalKit(Executor& executor, portal::Registry& registry, NSUserDefaults& defaults)
    : executor_(executor),
      defaults_(defaults),
      outputs_([] { return wayland::Outputs(); }),
      portal_(executor, registry),
      self_(std::make_shared<PortalKit*>(this)) {}

PortalKit::~PortalKit() = default;

/// None where the compositor does not tell.
std::vector<SCDisplay> PortalKit::outputDisplays() const {
    try {
        return outputs_.query([](wayland::Outputs& each) { return each.displays(); });
    } catch (const PlatformError& error) {
        log(LogArea::capture, "portal: the outputs are unknown: ", error.what());
        return {};
    }
}

std::vector<SCDisplay> PortalKit::displays() const {
    std::vector<SCDisplay> displays = outputDisplays();
    if (!shared_ || !shared_->content.display) return displays;
    const SCDisplay& shared = *shared_->content.display;
    const auto listed = std::ranges::find(displays, shared.displayID, &SCDisplay::displayID);
    if (listed == displays.end()) {
        displays.push_back(shared);
    } else {
        *listed = shared;
    }
    return displays;
}

std::vector<SCWindow> PortalKit::windows() const {
    if (!shared_ || !shared_->content.window) return {};
    return {*shared_->content.window};
}

bool PortalKit::CGPreflightScreenCaptureAccess() const {
    if (!isAvailable_) isAvailable_ = portal::ScreenCastPortal::abilities().isAvailable();
    return isAvailable_;
}

std::uint32_t PortalKit::CGMainDisplayID() const {
    try {
        return outputs_.query([](wayland::Outputs& each) { return each.mainDisplayID(); });
    } catch (const PlatformError&) {
        return shared_ && shared_->content.display ? shared_->content.display->displayID : 0;
    }
}

Rect PortalKit::CGDisplayBounds(std::uint32_t displayID) const {
    const std::vector<SCDisplay> known = displays();
    const auto found = std::ranges::find(known, displayID, &SCDisplay::displayID);
    return found == known.end() ? Rect() : found->frame;
}

std::optional<Rect> PortalKit::windowBounds(std::uint32_t windowID) const {
    for (const SCWindow& window : windows()) {
        if (window.windowID == windowID) return window.frame;
    }
    return std::nullopt;
}

// Sharing

Task<std::optional<SCSharedContent>> PortalKit::share(SCSharingRequest request) {
    if (satisfies(request)) co_return shared_->content;
    endSharing();
    const Completion<Answer> answer(executor_);
    open_ = answer;
    asking_ = RunningTask(executor_, ask(request, answer));
    const Answer given = co_await answer;
    open_.reset();
    if (given.second) std::rethrow_exception(given.second);
    co_return given.first;
}

bool PortalKit::satisfies(const SCSharingRequest& request) const {
    if (!shared_ || !shared_->cast.isOpen()) return false;
    const SCSharingRequest& before = shared_->request;
    if (request.kind != before.kind || request.showsCursor != before.showsCursor) return false;
    const bool isWanted = !request.displayID || request.displayID == before.displayID;
    return isWanted || (shared_->content.display && shared_->content.display->displayID == request.displayID);
}

void PortalKit::endSharing() {
    asking_.cancel();
    renewing_.cancel();
    if (open_) open_->resolve({});
    if (!std::exchange(shared_, nullptr)) return;
    log(LogArea::capture, "portal: sharing ended");
    announceChange();
}

Task<void> PortalKit::ask(SCSharingRequest request, Completion<Answer> answer) {
    Answer result;
    try {
        const std::string key = tokenKey(request);
        const portal::ScreenCastRequest question = portalRequest(request, takeToken(key));
        Task<std::optional<portal::ScreenCast>> choosing = portal_.choose(question);
        std::optional<portal::ScreenCast> cast = co_await choosing;
        if (cast) {
            storeToken(key, cast->restoreToken());
            Task<void> taking = takeShared(request, *std::move(cast));
            co_await taking;
            result.first = shared_->content;
            announceChange();
        }
    } catch (...) {
        result.second = std::current_exception();
    }
    answer.resolve(result);
}

/// Takes a first picture, because only the stream knows the size in pixels.
Task<void> PortalKit::takeShared(SCSharingRequest request, portal::ScreenCast cast) {
    const portal::ScreenCastStream stream = cast.streams().front();
    pipewire::ScreenCast target{{cast.remote(), stream.nodeId}, {}, [] { wayland::requestRedraw(); }, {}};
    const Completion<FirstPicture> taken(executor_);
    queue_.async([target, taken] { taken.resolve(takeFirstPicture(target)); });
    FirstPicture first = co_await taken;
    if (first.error) std::rethrow_exception(first.error);

    SCSharedContent content;
    if (request.kind == SCSharingRequest::Kind::window) {
        SCWindow window;
        window.windowID = windowNumbers + stream.nodeId;
        window.frame = {0, 0, double(first.size.width), double(first.size.height)};
        window.hasPosition = false;
        target.size = window.frame.size();
        content.window = window;
        first.image = {};
    } else {
        content.display = displayOf(stream, first.size, request.displayID);
        target.size = content.display->frame.size();
    }
    target.control =
        std::make_shared<pipewire::CastControl>([&executor = executor_, self = std::weak_ptr(self_)] {
            executor.post([self] {
                if (const auto kit = self.lock()) (*kit)->castStalled();
            });
        });
    log(LogArea::capture, "portal: shares ", first.size.width, " × ", first.size.height, " pixels, node ",
        stream.nodeId, ", cursor mode ", static_cast<int>(cast.cursorMode()), ", display ",
        content.display ? content.display->displayID : 0);
    shared_.reset(new Shared{
        std::move(cast), target, content, std::move(first.image), request, !outputDisplays().empty(), {}});
    shared_->cast.setOnClosed([this] { castClosed(); });
}

SCDisplay PortalKit::displayOf(const portal::ScreenCastStream& stream, PixelSize pixels,
                               std::optional<std::uint32_t> wanted) const {
    const std::vector<SCDisplay> outputs = outputDisplays();
    SCDisplay display;
    if (const SCDisplay* const output = findOutput(outputs, stream, pixels, wanted)) {
        display = *output;
    } else {
        const Point origin = stream.position.value_or(Point());
        const Size size = stream.size.value_or(Size(pixels.width, pixels.height));
        display.displayID = stream.nodeId;
        display.frame = {origin.x, origin.y, size.width, size.height};
        display.localizedName = localized("Shared screen");
    }
    display.pointPixelScale = pixels.width / display.frame.width;
    return display;
}

void PortalKit::castClosed() {
    const auto source = shared_->source.lock();
    // A running recording keeps what it knows about its source until its end.
    if (source) {
        source->end(closingError());
    } else {
        shared_.reset();
        announceChange();
    }
}

/// Why the cast is closed. The portal does not say so: it closes a cast that the user stops, and those of a
/// monitor or compositor that is gone.
std::exception_ptr PortalKit::closingError() const {
    int code = 0;
    std::string sentence = localized("The desktop has ended the sharing of the screen.");
    if (shared_->cast.isPortalGone()) {
        sentence = localized("The desktop portal has stopped working.");
    } else if (isSourceOnScreen()) {
        code = SCStreamErrorUserStopped;
    }
    log(LogArea::capture, "portal: sharing ended from outside, code ", code);
    return std::make_exception_ptr(SCStreamError(sentence, code));
}

/// False if an output has disappeared that the shared display was, or all of them. True where the compositor
/// does not tell.
bool PortalKit::isSourceOnScreen() const {
    if (!shared_->hasOutputs) return true;
    const std::vector<SCDisplay> outputs = outputDisplays();
    const auto& display = shared_->content.display;
    if (!display || display->connector.empty()) return !outputs.empty();
    return std::ranges::find(outputs, display->connector, &SCDisplay::connector) != outputs.end();
}

/// On the source's thread.
CastSource::PicturesEndedHandler PortalKit::picturesEndedHandler() {
    return [&executor = executor_, self = std::weak_ptr(self_)](const auto& source, const auto& error) {
        if (!isEndOfCast(error)) return source->end(error);
        executor.post([self, source, error] {
            const auto kit = self.lock();
            if (!kit) return source->end(error);
            (*kit)->ending_ = RunningTask((*kit)->executor_, (*kit)->endUnlessClosed(source, error));
        });
    };
}

Task<void> PortalKit::endUnlessClosed(std::shared_ptr<CastSource::Lifeline> source,
                                      std::exception_ptr error) {
    co_await sleepFor(executor_, closingTimeout);
    source->end(error);
}

// Renewal

void PortalKit::noteWakeUp() {
    if (shared_) shared_->target.control->noteWakeUp();
}

void PortalKit::castStalled() {
    // Without a source the next request finds out.
    if (!shared_ || !shared_->cast.isOpen() || shared_->source.expired() || renewing_.isRunning()) return;
    if (latestToken_.empty()) {
        log(LogArea::capture, "portal: the cast has stopped, and there is no token for another one");
        return;
    }
    renewing_ = RunningTask(executor_, renew());
}

/// Another cast of the same content, for a recording that goes on. Nobody may be asked meanwhile.
Task<void> PortalKit::renew() {
    try {
        const SCSharingRequest request = shared_->request;
        const portal::ScreenCastRequest question = portalRequest(request, std::exchange(latestToken_, {}));
        Task<std::optional<portal::ScreenCast>> restoring = portal_.restore(question);
        std::optional<portal::ScreenCast> cast = co_await restoring;
        if (cast) storeToken(tokenKey(request), cast->restoreToken());
        if (cast && shared_) continueWith(*std::move(cast));
    } catch (const PlatformError& error) {
        log(LogArea::capture, "portal: the cast cannot be restored: ", error.what());
    }
}

void PortalKit::continueWith(portal::ScreenCast cast) {
    const portal::ScreenCastStream& stream = cast.streams().front();
    // A token may restore something else, which nobody has agreed to record now.
    const bool isSame = isSameSource(shared_->cast.streams().front(), stream);
    log(LogArea::capture, "portal: restored ", isSame ? "the cast, node " : "something else, node ",
        stream.nodeId);
    if (!isSame) return;
    shared_->target.address = {cast.remote(), stream.nodeId};
    shared_->target.control->replace(shared_->target.address);
    // Closes the earlier one.
    shared_->cast = std::move(cast);
    shared_->cast.setOnClosed([this] { castClosed(); });
}

void PortalKit::announceChange() const {
    if (contentChanged_) contentChanged_();
}

// Tokens

/// The preferences that may keep tokens for that kind; the one for any display first.
std::vector<std::string> PortalKit::tokenKeys(SCSharingRequest::Kind kind) const {
    if (kind == SCSharingRequest::Kind::window) return {windowTokenKey};
    std::vector<std::string> keys{displayTokenKey};
    for (const SCDisplay& display : outputDisplays())
        keys.push_back(displayTokenKey + ("." + display.connector));
    return keys;
}

/// The preference that keeps the token of such a request.
std::string PortalKit::tokenKey(const SCSharingRequest& request) const {
    if (request.kind == SCSharingRequest::Kind::window) return windowTokenKey;
    const std::vector<SCDisplay> known = request.displayID ? outputDisplays() : std::vector<SCDisplay>();
    const auto wanted = std::ranges::find(known, request.displayID.value_or(0), &SCDisplay::displayID);
    return wanted == known.end() ? displayTokenKey : displayTokenKey + ("." + wanted->connector);
}

/// Each token can be used once.
std::string PortalKit::takeToken(const std::string& key) {
    if (!givenToken_.empty()) return std::exchange(givenToken_, {});
    return defaults_.stringForKey(key).value_or("");
}

void PortalKit::storeToken(const std::string& key, const std::string& token) {
    latestToken_ = token;
    try {
        if (token.empty()) {
            defaults_.removeObject(key);
        } else {
            defaults_.set(key, token);
        }
    } catch (const PlatformError& error) {
        log(LogArea::capture, "portal: the choice cannot be remembered: ", error.what());
    }
}

bool PortalKit::remembersChoice(SCSharingRequest::Kind kind) const {
    return std::ranges::any_of(
        tokenKeys(kind), [&](const std::string& key) { return defaults_.stringForKey(key).has_value(); });
}

void PortalKit::forgetChoices() {
    endSharing();
    givenToken_.clear();
    for (const auto kind : {SCSharingRequest::Kind::display, SCSharingRequest::Kind::window}) {
        for (const std::string& key : tokenKeys(kind))
            storeToken(key, {});
    }
}

// Pictures

std::unique_ptr<SampleSource> PortalKit::pictureSource(const SCContentFilter& /*filter*/,
                                                       const SCStreamConfiguration& configuration) {
    if (!shared_ || !shared_->cast.isOpen())
        throw SCStreamError(localized("Nothing is shared with Lumicrate."));
    auto source = std::make_unique<CastSource>(pipewire::screenCastSource(shared_->target, configuration),
                                               picturesEndedHandler());
    shared_->source = source->lifeline();
    return source;
}

std::optional<CGImage> PortalKit::captureImage(std::uint32_t /*windowID*/, Size /*maximumSize*/) {
    return std::nullopt;
}

std::optional<CGImage> PortalKit::captureDisplay(std::uint32_t displayID) {
    if (!shared_ || !shared_->content.display || shared_->content.display->displayID != displayID)
        return std::nullopt;
    return shared_->picture;
}

}  // namespace lumicrate::capture
