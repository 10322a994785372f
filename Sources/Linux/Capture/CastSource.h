// SPDX-License-Identifier: GPL-3.0-or-later
// CastSource: the pictures of a screen cast that can be closed from outside.
#pragma once

#include "Platform/SampleSource.h"

#include <exception>
#include <memory>
#include <mutex>

namespace lumicrate::capture {

/// Reports a failure of its pictures or the end of the cast, whichever comes first.
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

    explicit CastSource(std::unique_ptr<SampleSource> pictures);
    ~CastSource() override;

    std::weak_ptr<Lifeline> lifeline() const { return lifeline_; }

    void start(Handlers handlers) override;
    void stop() override;
    void update(const SCStreamConfiguration& configuration) override { pictures_->update(configuration); }
    void setFilter(const SCContentFilter& filter) override { pictures_->setFilter(filter); }

 private:
    std::shared_ptr<Lifeline> lifeline_ = std::make_shared<Lifeline>();
    std::unique_ptr<SampleSource> pictures_;
};

}  // namespace lumicrate::capture
