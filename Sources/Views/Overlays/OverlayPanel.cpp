#include "Views/Overlays/OverlayPanel.h"

#include "Views/Desktop/Coordinates.h"
#include "Views/Overlays/OverlayWidget.h"
#include "Views/Overlays/WindowShape.h"

#include <QMouseEvent>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

Qt::WindowFlags flags(const NSPanel::Settings& settings) {
    Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                            Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint;
    if (!settings.canBecomeKey) flags |= Qt::WindowDoesNotAcceptFocus;
    if (settings.ignoresMouseEvents) flags |= Qt::WindowTransparentForInput;
    return flags;
}

}  // namespace

void PanelStack::bringToFront(OverlayPanel& panel) {
    remove(panel);
    const auto above = std::find_if(shown_.begin(), shown_.end(), [&panel](const OverlayPanel* each) {
        return each->level() > panel.level();
    });
    for (auto each = shown_.insert(above, &panel); each != shown_.end(); ++each)
        (*each)->raise();
}

void PanelStack::remove(OverlayPanel& panel) {
    std::erase(shown_, &panel);
}

OverlayPanel::OverlayPanel(std::unique_ptr<OverlayWidget> content, Settings settings, PanelStack& stack,
                           const CompositionWatch& composition)
    : QWidget(nullptr, flags(settings)),
      settings_(std::move(settings)),
      stack_(stack),
      content_(content.release()) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    // As a rule it never is the active window.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    // Neither shadows nor the animations of windows suit a panel.
    setAttribute(Qt::WA_X11NetWmWindowTypeNotification);
    setAccessibleName(content_->accessibleName());
    content_->setParent(this);
    content_->setComposited(*composition.isActive());
    content_->setOnReshaped([this] { cutOut(); });
    place();
    winId();
    cutOut();
    composition_ = composition.isActive().observe([this](bool active) {
        content_->setComposited(active);
        cutOut();
    });
}

OverlayPanel::~OverlayPanel() {
    stack_.remove(*this);
    if (settings_.canBecomeKey) stack_.keyboard().release(*windowHandle());
    content_->setOnReshaped(nullptr);
}

void OverlayPanel::orderFrontRegardless() {
    show();
    stack_.bringToFront(*this);
}

void OverlayPanel::makeKeyAndOrderFront() {
    orderFrontRegardless();
    if (settings_.canBecomeKey) stack_.keyboard().give(*windowHandle());
}

void OverlayPanel::setFrame(const Rect& frame) {
    settings_.frame = frame;
    place();
}

std::uint32_t OverlayPanel::windowNumber() const {
    return static_cast<std::uint32_t>(internalWinId());
}

void OverlayPanel::place() {
    setGeometry(Coordinates::now().windowGeometry(settings_.frame).marginsAdded(content_->overhang()));
}

void OverlayPanel::hideEvent(QHideEvent*) {
    if (settings_.canBecomeKey) stack_.keyboard().release(*windowHandle());
}

void OverlayPanel::resizeEvent(QResizeEvent*) {
    content_->setGeometry(rect());
    cutOut();
}

void OverlayPanel::cutOut() {
    const QWindow* const window = windowHandle();
    if (!window) return;
    const double scale = devicePixelRatio();
    const auto visible = content_->isComposited() ? content_->outline() : content_->silhouette();
    setPixelShape(*window, visible ? std::optional(pixelsOf(*visible, size(), scale)) : std::nullopt);
    if (settings_.ignoresMouseEvents) return;
    QPainterPath body;
    body.addRect(content_->frameInside());
    setInputShape(*window, pixelsOf(body, size(), scale));
}

void OverlayPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !settings_.onDrag) return;
    // By the event, for the pointer may have moved on.
    const QPointF inside = event->position() - QPointF(content_->frameInside().topLeft());
    grip_ = Point{-inside.x(), inside.y() - settings_.frame.height};
}

void OverlayPanel::mouseMoveEvent(QMouseEvent*) {
    if (!grip_) return;
    const Point at = Coordinates::now().pointOfPixel(pointerPixel());
    settings_.onDrag({at.x + grip_->x, at.y + grip_->y});
}

void OverlayPanel::mouseReleaseEvent(QMouseEvent*) {
    grip_.reset();
}

}  // namespace lumicrate::views
