// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/WebcamBubbleController.h"

#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// Where the centre of the bubble is stored.
constexpr std::string_view centerKey = "webcamCenter";

Point centerOf(const Rect& frame) {
    return {frame.midX(), frame.midY()};
}

Rect centeredAt(Point center, const Size& size) {
    return {std::round(center.x - size.width / 2), std::round(center.y - size.height / 2), size.width,
            size.height};
}

/// The stored place of the centre. A place far from every possible screen is none.
std::optional<Point> storedCenter(const NSUserDefaults& defaults) {
    constexpr double farAway = 1e6;
    const auto center = pointFromString(defaults.stringForKey(centerKey).value_or(""));
    if (!center || std::hypot(center->x, center->y) > farAway) return std::nullopt;
    return center;
}

bool isInside(const Rect& inner, const Rect& outer) {
    return inner.minX() >= outer.minX() && inner.maxX() <= outer.maxX() && inner.minY() >= outer.minY() &&
           inner.maxY() <= outer.maxY();
}

}  // namespace

WebcamBubbleController::WebcamBubbleController(Services services)
    : services_(std::move(services)),
      model_(modelActions()),
      self_(std::make_shared<WebcamBubbleController*>(this)) {
    defaultsChanges_ = services_.defaults.observe([this] { defaultsChanged(); });
    screenChanges_ = services_.screens.observe([this] {
        if (panel_ && visible_) setFrame(keptOnScreens(panel_->frame(), services_.screens.screens()));
    });
}

WebcamBubbleController::~WebcamBubbleController() {
    stopSession();
}

WebcamBubbleModel::Actions WebcamBubbleController::modelActions() {
    WebcamBubbleModel::Actions actions;
    actions.frame = [this] { return panel_ ? panel_->frame() : Rect(); };
    actions.setFrame = [this](const Rect& frame) { setFrame(frame); };
    actions.dragEnded = [this](WebcamBubbleModel::Drag drag) {
        panelMoved();
        if (drag == WebcamBubbleModel::Drag::resize)
            store(preference::webcamWidth, std::round(panel_->frame().width));
    };
    actions.makeMenu = [this] { return makeMenu(); };
    return actions;
}

void WebcamBubbleController::setSuspended(bool suspended) {
    suspended_ = suspended;
    apply();
}

void WebcamBubbleController::apply() {
    shownForRecording_ = false;
    follow(RecordingOptions::current(services_.defaults));
}

void WebcamBubbleController::showPanel(RecordingOptions options) {
    shownForRecording_ = !services_.defaults.boolForKey(preference::webcamEnabled);
    options.webcamEnabled = true;
    follow(options);
}

/// Deferred, because several preferences are often stored together, and the store is in use during the call.
void WebcamBubbleController::defaultsChanged() {
    if (std::exchange(applyPending_, true)) return;
    services_.executor.post([weak = std::weak_ptr(self_)] {
        const auto self = weak.lock();
        if (!self) return;
        WebcamBubbleController& controller = **self;
        controller.applyPending_ = false;
        RecordingOptions options = RecordingOptions::current(controller.services_.defaults);
        if (options.webcamEnabled) controller.shownForRecording_ = false;
        options.webcamEnabled = options.webcamEnabled || controller.shownForRecording_;
        controller.follow(options);
    });
}

void WebcamBubbleController::follow(const RecordingOptions& options) {
    if (suspended_ || !options.webcamEnabled) {
        hide();
        return;
    }
    switch (services_.devices.authorizationStatusForVideo()) {
        case AVAuthorizationStatus::authorized:
            present(options);
            return;
        case AVAuthorizationStatus::notDetermined:
            requestAccess();
            return;
        case AVAuthorizationStatus::denied:
            fail(
                localized("Camera access is off. Allow Lumicrate in System Settings › Privacy & Security › "
                          "Camera."));
            return;
    }
}

void WebcamBubbleController::requestAccess() {
    if (std::exchange(requestingAccess_, true)) return;
    services_.devices.requestAccessForVideo([weak = std::weak_ptr(self_)](bool) {
        const auto self = weak.lock();
        if (!self) return;
        (*self)->requestingAccess_ = false;
        (*self)->defaultsChanged();
    });
}

void WebcamBubbleController::present(const RecordingOptions& options) {
    const Size size = bubble::sizeOf(options.webcamShape, options.webcamWidth);
    if (!panel_) {
        NSPanel::Settings settings;
        settings.frame = initialFrame(size);
        panel_ = services_.contents.webcamBubble(model_)->makePanel(std::move(settings));
    }
    model_.applyOptions(options);
    updateLevel();
    if (!visible_ || !screenOfPanel()) {
        panel_->setFrame(initialFrame(size));
    } else if (size != panel_->frame().size() && model_.drag() != WebcamBubbleModel::Drag::resize) {
        setFrame(keptOnScreens(centeredAt(centerOf(panel_->frame()), size), services_.screens.screens()));
    }
    setVisible(true);
    // Also when it is visible: other windows may have been raised above it.
    panel_->orderFrontRegardless();
    const bool runs = session_ && (options.webcamID == deviceID_ || options.webcamID == session_->deviceID());
    if (!runs) startSession(options.webcamID);
    updatePreviewSize();
}

/// At the stored place, or else at the lower right of the main screen.
Rect WebcamBubbleController::initialFrame(const Size& size) const {
    const std::vector<NSScreen> screens = services_.screens.screens();
    if (const auto stored = storedCenter(services_.defaults))
        return keptOnScreens(centeredAt(*stored, size), screens);
    constexpr double margin = 32;
    const Rect visible = screens.empty() ? Rect() : screens.front().visibleFrame;
    return {visible.maxX() - size.width - margin, visible.minY() + margin, size.width, size.height};
}

/// The screen that shows most of the panel, if any shows a part of it.
std::optional<NSScreen> WebcamBubbleController::screenOfPanel() const {
    const auto shown = [this](const NSScreen& each) {
        return each.frame.intersection(panel_->frame()).area();
    };
    const std::vector<NSScreen> screens = services_.screens.screens();
    const auto most = std::ranges::max_element(screens, {}, shown);
    if (most == screens.end() || shown(*most) == 0) return std::nullopt;
    return *most;
}

void WebcamBubbleController::setFrame(const Rect& frame) {
    panel_->setFrame(frame);
    updatePreviewSize();
}

void WebcamBubbleController::updatePreviewSize() {
    if (!session_) return;
    const auto screen = screenOfPanel();
    const double scale = screen ? screen->backingScaleFactor : 1;
    const auto pixels = [scale](double points) { return static_cast<int>(std::ceil(points * scale)); };
    const PixelSize size{pixels(panel_->frame().width), pixels(panel_->frame().height)};
    if (std::exchange(previewSize_, size) != size) session_->setPreviewSize(size);
}

void WebcamBubbleController::startSession(const std::string& deviceID) {
    stopSession();
    session_ = services_.makeSession();
    deviceID_ = deviceID;
    session_->setOnPreview([this] {
        model_.picture = session_->preview();
        model_.setDisconnected(false);
    });
    session_->setOnConnectionChange([this](bool isConnected) {
        if (!isConnected) model_.picture = RenderedPicture();
        model_.setDisconnected(!isConnected);
    });
    updatePreviewSize();

    AVCaptureSession::Settings settings;
    settings.deviceID = deviceID;
    // Enough for a bubble of any width without scaling up, unless the screen is dense: then it follows the
    // present size, since the cost of decoding grows with the camera's format.
    constexpr int leastSide = static_cast<int>(maxWebcamWidth);
    settings.wantedSize = {std::max(leastSide, previewSize_.width), std::max(leastSide, previewSize_.height)};
    log(LogArea::recorder, "webcam bubble: starting camera ", deviceID.empty() ? "(default)" : deviceID);
    // Posted: a failure destroys the session, which is still in this call.
    session_->startRunning(settings, [this, number = ++sessionNumber_](AVCaptureSession::Outcome outcome) {
        services_.executor.post([weak = std::weak_ptr(self_), number, outcome] {
            const auto self = weak.lock();
            if (self && (*self)->session_ && (*self)->sessionNumber_ == number)
                (*self)->sessionStarted(outcome);
        });
    });
}

void WebcamBubbleController::sessionStarted(AVCaptureSession::Outcome outcome) {
    switch (outcome) {
        case AVCaptureSession::Outcome::running:
            return;
        case AVCaptureSession::Outcome::noCamera:
            fail(localized("No camera is available."));
            return;
        case AVCaptureSession::Outcome::couldNotBeStarted:
            fail(localized("The camera couldn't be started."));
            return;
    }
}

void WebcamBubbleController::stopSession() {
    if (session_) session_->stopRunning();
    session_.reset();
    deviceID_.clear();
    previewSize_ = {};
    model_.picture = RenderedPicture();
    model_.setDisconnected(false);
}

void WebcamBubbleController::hide() {
    stopSession();
    if (!visible_) return;
    panel_->orderOut();
    model_.reset();
    setVisible(false);
}

void WebcamBubbleController::setVisible(bool visible) {
    if (std::exchange(visible_, visible) != visible && onWindowChange_) onWindowChange_();
}

void WebcamBubbleController::fail(const std::string& message) {
    log(LogArea::recorder, "webcam bubble: ", message);
    hide();
    shownForRecording_ = false;
    if (services_.defaults.boolForKey(preference::webcamEnabled)) store(preference::webcamEnabled, false);
    if (onError_) onError_(message);
}

void WebcamBubbleController::store(std::string_view key, const DefaultsValue& value) {
    try {
        services_.defaults.set(key, value);
    } catch (const PlatformError& error) {
        if (onError_) onError_(error.what());
    }
}

std::optional<Point> WebcamBubbleController::moveInside(Rect area) {
    if (!visible_ || isInside(panel_->frame(), area)) return std::nullopt;
    const Point center = centerOf(panel_->frame());
    setFrame(bubble::frameInside(area, panel_->frame().size()));
    return center;
}

void WebcamBubbleController::moveCenter(Point center) {
    if (!panel_) return;
    setFrame(centeredAt(center, panel_->frame().size()));
    // Otherwise a place that the user chose in between would return with the next start.
    if (storedCenter(services_.defaults)) panelMoved();
}

void WebcamBubbleController::moveBy(double dx, double dy) {
    if (visible_) setFrame(panel_->frame().offsetBy(dx, dy));
}

void WebcamBubbleController::panelMoved() {
    store(centerKey, stringFromPoint(centerOf(panel_->frame())));
}

std::optional<std::uint32_t> WebcamBubbleController::windowNumber() const {
    return visible_ ? windowNumberOf(panel_) : std::nullopt;
}

void WebcamBubbleController::setMicrophoneLevel(std::optional<float> level) {
    level_ = level;
    updateLevel();
}

void WebcamBubbleController::updateLevel() {
    model_.setMicrophoneLevel(services_.defaults.boolForKey(preference::webcamMicLevel) ? level_
                                                                                        : std::nullopt);
}

void WebcamBubbleController::chooseShape(WebcamShape shape) {
    store(preference::webcamShape, std::string(rawValue(shape)));
}

void WebcamBubbleController::chooseSize(double width) {
    store(preference::webcamWidth, width);
}

void WebcamBubbleController::hideFromMenu() {
    if (shownForRecording_) apply();
    store(preference::webcamEnabled, false);
}

std::vector<MenuItem> WebcamBubbleController::makeMenu() {
    const auto choice = [](std::string_view title, bool checked, std::function<void()> action) {
        MenuItem item = MenuItem::command(localized(title), std::move(action));
        item.checked = checked;
        return item;
    };
    constexpr std::array<std::string_view, 3> shapeTitles = {translatable("Circle"), translatable("Rounded"),
                                                             translatable("Rectangle")};
    constexpr std::array<std::pair<std::string_view, double>, 3> sizes = {
        {{translatable("Small"), 140}, {translatable("Medium"), 200}, {translatable("Large"), 280}}};
    std::vector<MenuItem> items;
    for (const WebcamShape shape : allCases<WebcamShape>()) {
        items.push_back(choice(shapeTitles.at(static_cast<std::size_t>(shape)),
                               shape == model_.appearance->shape, [this, shape] { chooseShape(shape); }));
    }
    items.push_back(MenuItem::line());
    for (const auto& [title, width] : sizes) {
        items.push_back(choice(title, std::abs(panel_->frame().width - width) < 1,
                               [this, width = width] { chooseSize(width); }));
    }
    items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Hide Webcam"), [this] { hideFromMenu(); }));
    return items;
}

}  // namespace lumicrate
