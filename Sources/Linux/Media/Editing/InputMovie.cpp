// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/InputMovie.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

namespace lumicrate::media {

namespace {

/// How long before the start of a range packets may be needed, besides the group of pictures that contains
/// the start; seconds.
constexpr double maxLeadIn = 1;

/// Other containers do not contain decoding times, and fragmented files have no complete head.
bool hasCompleteHead(const AVFormatContext& context) {
    const std::span streams(context.streams, context.nb_streams);
    const auto isKnown = [](const AVStream* each) {
        const AVCodecParameters& media = *each->codecpar;
        return each->nb_frames > 0 && (media.codec_type != AVMEDIA_TYPE_VIDEO || media.width > 0);
    };
    return std::string_view(context.iformat->name).starts_with("mov") &&
           std::all_of(streams.begin(), streams.end(), isKnown);
}

std::string reasonOf(int error) {
    switch (error) {
        case AVERROR_INVALIDDATA:
        case AVERROR_EOF:
            return localized("it isn't a movie, or it is damaged.");
        case AVERROR_DECODER_NOT_FOUND:
            return localized("nothing here understands its format.");
        default:
            return reasonFor(error) + ".";
    }
}

/// Whether the head refers to samples beyond the end of the file.
bool isCutOff(const AVFormatContext& context) {
    // In other containers the positions are not those of packets.
    if (std::string_view(context.iformat->name).find("mp4") == std::string_view::npos) return false;
    const std::int64_t size = avio_size(context.pb);
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        AVStream* stream = context.streams[i];
        for (int place = 0; place < avformat_index_get_entries_count(stream); ++place) {
            const AVIndexEntry* sample = avformat_index_get_entry(stream, place);
            if (sample->pos + sample->size > size) return true;
        }
    }
    return false;
}

std::int64_t ticksAt(CMTime time, AVRational clock) {
    return av_rescale_rnd(time.value(), clock.den, time.timescale() * clock.num, AV_ROUND_NEAR_INF);
}

}  // namespace

InputMovie::InputMovie(const std::filesystem::path& path, Look look) : path_(path), look_(look) {
    const int opened = context_.open(path, 0);
    if (opened < 0) failWith(opened);
    AVFormatContext* context = context_.get();
    const bool enough = look == Look::atHead && hasCompleteHead(*context);
    const int found = enough ? 0 : avformat_find_stream_info(context, nullptr);
    if (found < 0) failWith(found);
    if (look != Look::atWhatIsLeft && isCutOff(*context)) fail(localized("it is cut off."));
    if (!videoTrack() && audioTracks().empty()) fail(localized("it isn't a movie, or it is damaged."));
}

std::optional<int> InputMovie::videoTrack() const {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const AVStream& each = *context_->streams[i];
        const bool cover = (each.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (each.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !cover) return static_cast<int>(i);
    }
    return std::nullopt;
}

std::vector<int> InputMovie::audioTracks() const {
    std::vector<int> tracks;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        if (context_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            tracks.push_back(static_cast<int>(i));
    }
    return tracks;
}

std::optional<int> InputMovie::inputTrack() const {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const AVCodecParameters& media = *context_->streams[i]->codecpar;
        if (media.codec_type == AVMEDIA_TYPE_DATA && media.codec_tag == MKTAG('m', 'e', 't', 't'))
            return static_cast<int>(i);
    }
    return std::nullopt;
}

double InputMovie::duration() const {
    if (context_->duration == AV_NOPTS_VALUE) return 0;
    return std::max(0.0, static_cast<double>(context_->duration) / AV_TIME_BASE);
}

std::int64_t InputMovie::packetCount(int track, const std::optional<CMTimeRange>& range) const {
    AVStream* from = context_->streams[track];
    const std::int64_t indexed = avformat_index_get_entries_count(from);
    if (from->nb_frames <= 0) return countedPackets(track);
    if (!range || indexed < from->nb_frames) return std::max(indexed, from->nb_frames);
    const auto at = [&](double seconds) {
        return static_cast<std::int64_t>(seconds / av_q2d(from->time_base));
    };
    const int first =
        av_index_search_timestamp(from, at(range->start.seconds() - maxLeadIn), AVSEEK_FLAG_BACKWARD);
    const int last = av_index_search_timestamp(from, at(range->end.seconds()), AVSEEK_FLAG_ANY);
    return (last < 0 ? indexed : last + 1) - std::max(first, 0);
}

std::int64_t InputMovie::countedPackets(int track) const {
    InputMovie movie(path_);
    movie.select({track});
    const OwnedPacket packet = makePacket();
    std::int64_t count = 0;
    while (movie.read(*packet))
        ++count;
    return count;
}

void InputMovie::select(const std::vector<int>& tracks) {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const bool selected = std::find(tracks.begin(), tracks.end(), static_cast<int>(i)) != tracks.end();
        context_->streams[i]->discard = selected ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

void InputMovie::seek(double seconds) {
    std::optional<int> track;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        if (context_->streams[i]->discard == AVDISCARD_ALL) continue;
        if (!track || videoTrack() == static_cast<int>(i)) track = static_cast<int>(i);
    }
    if (!track) return;
    constexpr double rounding = 1e-6;
    const double ticks = seconds / av_q2d(stream(*track).time_base);
    const auto time = static_cast<std::int64_t>(std::floor(ticks + rounding));
    std::int64_t place = time;
    std::int64_t earliest = std::numeric_limits<std::int64_t>::max();
    seekTo(*track, place);
    // av_seek_frame uses decoding times, which may precede presentation times: seek further back until a
    // picture is not after `time`.
    const OwnedPacket packet = makePacket();
    const auto readOne = [&] {
        while (read(*packet)) {
            if (packet->stream_index == *track) return true;
        }
        return false;
    };
    while (readOne() && packet->pts > time && packet->dts < earliest) {
        earliest = packet->dts;
        place = earliest - 1;
        seekTo(*track, place);
    }
    seekTo(*track, place);
}

void InputMovie::seekTo(int track, std::int64_t time) {
    const int result = av_seek_frame(context_.get(), track, time, AVSEEK_FLAG_BACKWARD);
    // Before the first picture: to the first picture.
    if (result < 0 &&
        av_seek_frame(context_.get(), track, stream(track).start_time, AVSEEK_FLAG_BACKWARD) < 0)
        failWith(result);
}

bool InputMovie::read(AVPacket& packet) {
    for (;;) {
        av_packet_unref(&packet);
        const int result = av_read_frame(context_.get(), &packet);
        if (result == AVERROR_EOF || (result < 0 && look_ == Look::atWhatIsLeft)) return false;
        if (result < 0) failWith(result);
        if (stream(packet.stream_index).discard == AVDISCARD_ALL) continue;
        if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0 && look_ != Look::atWhatIsLeft)
            fail(localized("it is cut off or damaged."));
        return true;
    }
}

OwnedCodec InputMovie::makeDecoder(int track, int threads) const {
    const AVStream& from = stream(track);
    const AVCodec* codec = avcodec_find_decoder(from.codecpar->codec_id);
    if (codec == nullptr) failWith(AVERROR_DECODER_NOT_FOUND);
    OwnedCodec decoder(avcodec_alloc_context3(codec));
    if (!decoder) failWith(AVERROR(ENOMEM));
    int result = avcodec_parameters_to_context(decoder.get(), from.codecpar);
    decoder->pkt_timebase = from.time_base;
    decoder->thread_count = threads;
    if (result >= 0) result = avcodec_open2(decoder.get(), codec, nullptr);
    if (result < 0) failWith(result);
    return decoder;
}

void InputMovie::fail(const std::string& reason) const {
    failToRead(path_, reason);
}

void InputMovie::failWith(int error) const {
    failToRead(path_, reasonOf(error), error);
}

TickRange TickRange::of(const std::optional<CMTimeRange>& range, AVRational clock) {
    if (!range) return {};
    return {ticksAt(range->start, clock), ticksAt(range->end, clock)};
}

}  // namespace lumicrate::media
