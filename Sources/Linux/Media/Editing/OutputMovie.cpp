// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/OutputMovie.h"

#include "Linux/Media/Editing/IndexEdits.h"
#include "Linux/Media/Input/InputSample.h"
#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <span>
#include <utility>

namespace lumicrate::media {

namespace {

/// How far ahead of the others a track may be written, in seconds. A player must buffer as much.
constexpr double maxLead = 0.5;

/// A multiple of the clock of recorded pictures and of the usual rates of sound, so that edit lists, which
/// count by it, are exact.
constexpr int movieTimescale = 720'000;

/// Clocks of pictures have at least as many ticks a second.
constexpr int minPictureClock = 90'000;

/// The maximum size of the index: for the file and for a track, without metadata and codec parameters, and
/// for a packet that needs an entry in every table (durations, presentation times, sizes, chunks and their
/// offsets, key pictures).
constexpr std::int64_t indexOfFile = 4 << 10;
constexpr std::int64_t indexOfTrack = 3 << 10;
constexpr std::int64_t indexOfPacket = 8 + 8 + 4 + (12 + 8) + 4;
/// Sound needs no entries in the tables of durations, presentation times and key pictures.
constexpr std::int64_t indexOfSoundPacket = 4 + (12 + 8);

const char* muxerFor(AVFileType type) {
    switch (type) {
        case AVFileType::quickTimeMovie:
            return "mov";
        case AVFileType::appleM4A:
            return "ipod";
        case AVFileType::mpeg4:
            break;
    }
    return "mp4";
}

/// The source's four-character code when the container has the same one for the codec.
std::uint32_t tagFor(const AVOutputFormat& format, const AVCodecParameters& parameters) {
    const std::uint32_t same = parameters.codec_tag;
    if (same != 0 && av_codec_get_id(format.codec_tag, same) == parameters.codec_id) return same;
    // "hvc1": all parameter sets are in the head, as players require.
    if (parameters.codec_id == AV_CODEC_ID_HEVC) return MKTAG('h', 'v', 'c', '1');
    return 0;
}

void check(int result) {
    AtomicFile::checked(result);
}

/// Bytes in the index, with the headers of each entry's boxes.
std::int64_t spaceOf(const AVDictionary* metadata) {
    constexpr std::int64_t headers = 64;
    std::int64_t space = 0;
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        space += headers + static_cast<std::int64_t>(std::strlen(entry->key) + std::strlen(entry->value));
    return space;
}

void copySideData(const AVStream& from, AVStream& to) {
    for (int i = 0; i < from.nb_side_data; ++i) {
        const AVPacketSideData& each = from.side_data[i];
        std::uint8_t* copy = av_stream_new_side_data(&to, each.type, each.size);
        if (copy == nullptr) throw std::bad_alloc();
        std::copy_n(each.data, each.size, copy);
    }
}

}  // namespace

OutputMovie::OutputMovie(const std::filesystem::path& path, AVFileType type, double duration, LongWork work)
    : file_(path), type_(type), duration_(duration), work_(std::move(work)) {
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, muxerFor(type), nullptr));
    context_.reset(context);
    context_->pb = file_.io();
    context_->flags |= AVFMT_FLAG_CUSTOM_IO;
    context_->flush_packets = 0;
    // Packets at negative times are kept: an edit list hides them.
    context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
}

OutputMovie::~OutputMovie() = default;

void OutputMovie::copyMetadata(const InputMovie& source) {
    av_dict_copy(&context_->metadata, source.metadata(), 0);
}

AVStream& OutputMovie::addStream(std::int64_t packets) {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    if (stream == nullptr) throw std::bad_alloc();
    tracks_.push_back({packets});
    return *stream;
}

int OutputMovie::addCopy(const InputMovie& source, int track, std::int64_t packets) {
    const AVStream& from = source.stream(track);
    const AVOutputFormat& format = *context_->oformat;
    if (avformat_query_codec(&format, from.codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 1) {
        throw PlatformError(
            localized("“{}” has a track that such a file can't hold: {}.",
                      {source.path().filename().string(), avcodec_get_name(from.codecpar->codec_id)}));
    }
    AVStream& to = addStreamLike(source, track, *from.codecpar, packets);
    to.codecpar->codec_tag = tagFor(format, *from.codecpar);
    return to.index;
}

int OutputMovie::addReencoded(const InputMovie& source, int track, const AVCodecParameters& parameters,
                              std::int64_t packets) {
    return addStreamLike(source, track, parameters, packets).index;
}

AVStream& OutputMovie::addStreamLike(const InputMovie& source, int track, const AVCodecParameters& parameters,
                                     std::int64_t packets) {
    const AVStream& from = source.stream(track);
    AVStream& to = addStream(packets);
    check(avcodec_parameters_copy(to.codecpar, &parameters));
    to.time_base = parameters.codec_type == AVMEDIA_TYPE_VIDEO ? clockFor(from) : from.time_base;
    to.avg_frame_rate = from.avg_frame_rate;
    to.sample_aspect_ratio = from.sample_aspect_ratio;
    to.disposition = from.disposition;
    av_dict_copy(&to.metadata, from.metadata, 0);
    copySideData(from, to);
    return to;
}

AVRational OutputMovie::clockFor(const AVStream& source) {
    const int rate = std::max(source.time_base.den, 1);
    return {1, rate * std::max(1, (minPictureClock + rate - 1) / rate)};
}

int OutputMovie::addSound(const isobmff::AudioDescription& sound, const std::string& title,
                          std::int64_t packets) {
    const OwnedParameters parameters(avcodec_parameters_alloc());
    const std::size_t size = sound.configuration.size();
    if (!parameters) throw std::bad_alloc();
    parameters->extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters->extradata == nullptr) throw std::bad_alloc();
    std::copy(sound.configuration.begin(), sound.configuration.end(), parameters->extradata);
    parameters->extradata_size = static_cast<int>(size);
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = AV_CODEC_ID_AAC;
    parameters->profile = FF_PROFILE_AAC_LOW;
    parameters->sample_rate = sound.sampleRate;
    parameters->bit_rate = sound.bitRate;
    parameters->frame_size = isobmff::aacFrameLength;
    av_channel_layout_default(&parameters->ch_layout, sound.channels);
    AVStream& to = addStream(packets);
    check(avcodec_parameters_copy(to.codecpar, parameters.get()));
    to.time_base = {1, sound.sampleRate};
    to.disposition = AV_DISPOSITION_DEFAULT;
    setTitle(to, title);
    return to.index;
}

void OutputMovie::setTitle(AVStream& track, const std::string& title) {
    av_dict_set(&track.metadata, "handler_name", title.c_str(), 0);
    av_dict_set(&track.metadata, "title", title.c_str(), 0);
}

void OutputMovie::setAside(int track, const std::string& title) {
    AVStream& stream = *context_->streams[track];
    stream.disposition &= ~AV_DISPOSITION_DEFAULT;
    setTitle(stream, title);
}

void OutputMovie::begin() {
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "movie_timescale", movieTimescale, 0);
    av_dict_set_int(&options, "moov_size", indexSpace(), 0);
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const AVStream& each = *context_->streams[i];
        if (each.codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            av_dict_set_int(&options, "video_track_timescale", each.time_base.den / each.time_base.num, 0);
    }
    const int result = avformat_write_header(context_.get(), &options);
    av_dict_free(&options);
    check(result);
}

std::int64_t OutputMovie::indexSpace() const {
    std::int64_t room = indexOfFile + spaceOf(context_->metadata) + inputIndexSpace(input_.samples.size());
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        const AVStream& stream = *context_->streams[i];
        const bool video = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        room += indexOfTrack + spaceOf(stream.metadata) + stream.codecpar->extradata_size +
                tracks_[i].packets * (video ? indexOfPacket : indexOfSoundPacket);
    }
    return room;
}

void OutputMovie::write(int track, AVPacket& packet) {
    std::unique_lock lock(mutex_);
    Track& writing = tracks_[static_cast<std::size_t>(track)];
    writing.end = std::max(writing.end, packet.pts + packet.duration);
    writing.reached = secondsOf(packet.dts, timeBase(track));
    const bool wakes = std::any_of(tracks_.begin(), tracks_.end(), [&writing](const Track& each) {
        return each.waits && each.reached <= writing.reached;
    });
    if (wakes) turn_.notify_all();
    turn_.wait(lock, [this, &writing] { return abandoned_ || !takesTurns_ || mayWrite(writing); });
    if (abandoned_) throw CancelledError();
    packet.stream_index = track;
    packet.pos = -1;
    // Here a packet is hidden by its time only.
    packet.flags &= ~AV_PKT_FLAG_DISCARD;
    check(av_write_frame(context_.get(), &packet));
    check(context_->pb->error);
    reportProgress();
}

/// The progress is that of the slowest track.
void OutputMovie::reportProgress() {
    double reached = duration_;
    for (const Track& each : tracks_) {
        if (!each.ended) reached = std::min(reached, each.reached);
    }
    const double part = duration_ > 0 ? reached / duration_ : 0;
    // Cancelling is possible with every packet; progress is reported per hundredth.
    if (work_.stop.stop_requested()) throw CancelledError();
    const bool complete = part >= 1 && reported_ < 1;
    if (part < reported_ + 0.01 && !complete) return;
    reported_ = part;
    work_.reach(part);
}

/// A thread that is far ahead waits until the others have caught up completely, so that tracks alternate in
/// large pieces.
bool OutputMovie::mayWrite(Track& track) {
    double others = std::numeric_limits<double>::infinity();
    for (const Track& each : tracks_) {
        if (&each != &track && !each.ended) others = std::min(others, each.reached);
    }
    if (track.reached > others + maxLead) track.waits = true;
    if (track.reached <= others) track.waits = false;
    return !track.waits;
}

void OutputMovie::end(int track, std::int64_t last) {
    const std::lock_guard lock(mutex_);
    Track& ended = tracks_[static_cast<std::size_t>(track)];
    ended.ended = true;
    ended.last = last;
    turn_.notify_all();
    reportProgress();
}

void OutputMovie::checkCancelled() {
    const std::lock_guard lock(mutex_);
    if (abandoned_ || work_.stop.stop_requested()) throw CancelledError();
}

void OutputMovie::abandon() {
    const std::lock_guard lock(mutex_);
    abandoned_ = true;
    turn_.notify_all();
}

void OutputMovie::finish() {
    check(av_write_trailer(context_.get()));
    completeIndex();
    file_.publish();
    log(LogArea::movie, "published a movie of ", tracks_.size(), " tracks and ", input_.samples.size(),
        " events of input");
}

/// The recorded input is behind all other media, where players never come across it.
void OutputMovie::completeIndex() {
    std::map<int, double> ends;
    for (int i = 0; i < static_cast<int>(tracks_.size()); ++i) {
        const Track& each = tracks_[static_cast<std::size_t>(i)];
        if (each.end > each.last) ends[i] = secondsOf(each.last, timeBase(i));
    }
    const bool hasInput = !input_.samples.empty();
    if (ends.empty() && !hasInput) return;
    isobmff::SampleTable table;
    if (hasInput) table.addRun(file_.append("mdat", input_.bytes), input_.start, input_.samples);
    try {
        file_.changeBox("moov", [&](std::vector<std::uint8_t>& moov) {
            endTracksAt(ends, moov);
            if (hasInput) addMetadataTrack(inputTrackDescription(), table, brandOf(type_), moov);
        });
    } catch (const isobmff::Malformed&) {
        AtomicFile::fail(AVERROR_BUG);
    }
}

}  // namespace lumicrate::media
