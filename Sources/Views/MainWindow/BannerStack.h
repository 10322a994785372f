// SPDX-License-Identifier: GPL-3.0-or-later
// BannerStack: the messages at the top of the main window.
#pragma once

#include "Lumicrate/MainWindow/MessageBanners.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

class QVBoxLayout;

namespace lumicrate::views {

/// Hidden while there are no messages.
class BannerStack final : public QWidget {
 public:
    /// `messages` must outlive the stack.
    explicit BannerStack(MessageBanners& messages, QWidget* parent = nullptr);

 private:
    void show(const std::vector<MessageBanners::Banner>& banners);

    MessageBanners& messages_;
    QVBoxLayout* layout_;
    std::vector<std::pair<MessageBanners::Banner, QWidget*>> shown_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
