// SPDX-License-Identifier: GPL-3.0-or-later
// CastSource: the pictures of a screen cast that can be closed from outside.
#pragma once

#include "Platform/SampleSource.h"

#include <exception>
#include <functional>
#include <memory>
#include <mutex>

namespace lumicrate::capture {

/// The owner of the cast decides what is reported when its pictures or the cast end.
class CastSource final : public SampleSource {
 public:
    /// Through this, the owner of a cast ends the source, which may be gone already. Any thread.
    class Lifeline {
     public:
        /// The source reports that error once, unless it has ended.
        void end(const std::exception_ptr& error);

     private:
        friend class CastSource;
        std::mutex mutex_;
        FailureHandler onFailure_;  ///< while the source runs and has not failed
    };

    /// Called on the source's thread when the pictures have failed. To be followed by a call of end(), there
    /// or later.
    using PicturesEndedHandler =
        std::function<void(const std::shared_ptr<Lifeline>& source, const std::exception_ptr& error)>;

    CastSource(std::unique_ptr<SampleSource> pictures, PicturesEndedHandler onPicturesEnded);
    ~CastSource() override;

    std::weak_ptr<Lifeline> lifeline() const { return lifeline_; }

    void start(Handlers handlers) override;
    void stop() override;
    void update(const SCStreamConfiguration& configuration) override { pictures_->update(configuration); }
    void setFilter(const SCContentFilter& filter) override { pictures_->setFilter(filter); }

 private:
    std::shared_ptr<Lifeline> lifeline_ = std::make_shared<Lifeline>();
    const PicturesEndedHandler onPicturesEnded_;
    std::unique_ptr<SampleSource> pictures_;
};

}  // namespace lumicrate::capture
