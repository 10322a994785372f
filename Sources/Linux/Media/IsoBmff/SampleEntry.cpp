// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/SampleEntry.h"

#include "Linux/Media/IsoBmff/Fragment.h"

#include <string>
#include <variant>

namespace lumicrate::isobmff {

namespace {

/// 72 dots an inch as a 16.16 number; nothing uses it.
constexpr std::uint32_t resolution = 72U << 16;

void writeEntryHead(BoxWriter& writer) {
    writer.zeros(6);
    writer.u16(1);  // the data reference
}

void writeColors(BoxWriter& writer, Brand brand) {
    constexpr int bt709 = 1;
    const auto colr = writer.box("colr");
    writer.text(brand == Brand::quickTime ? "nclc" : "nclx");
    writer.u16(bt709);  // primaries
    writer.u16(bt709);  // transfer
    writer.u16(bt709);  // matrix
    // Video range, which "nclc" of QuickTime implies.
    if (brand != Brand::quickTime) writer.u8(0);
}

void writeVideoEntry(BoxWriter& writer, Brand brand, const VideoDescription& video) {
    const bool hevc = video.codec == VideoCodec::hevc;
    const auto entry = writer.box(hevc ? "hvc1" : "avc1");
    writeEntryHead(writer);
    writer.zeros(16);
    writer.u16(static_cast<std::uint64_t>(video.width));
    writer.u16(static_cast<std::uint64_t>(video.height));
    writer.u32(resolution);
    writer.u32(resolution);
    writer.u32(0);
    writer.u16(1);     // picture a sample
    writer.zeros(32);  // the compressor's name
    writer.u16(24);    // bits a pixel: color without alpha
    writer.u16(0xffff);
    {
        const auto configuration = writer.box(hevc ? "hvcC" : "avcC");
        writer.bytes(video.configuration);
    }
    writeColors(writer, brand);
    const auto pasp = writer.box("pasp");
    writer.u32(1);
    writer.u32(1);
}

/// The header of a descriptor of ISO/IEC 14496-1 of less than 128 bytes.
void beginDescriptor(BoxWriter& writer, int tag, std::size_t length) {
    writer.u8(static_cast<std::uint64_t>(tag));
    writer.u8(length);
}

void writeElementaryStream(BoxWriter& writer, const AudioDescription& audio) {
    const std::size_t specific = audio.configuration.size();
    const auto esds = writer.fullBox("esds");
    beginDescriptor(writer, 0x03, 3 + 2 + 13 + 2 + specific + 2 + 1);
    writer.u16(0);  // stream number: none within a file
    writer.u8(0);
    beginDescriptor(writer, 0x04, 13 + 2 + specific);
    writer.u8(0x40);  // MPEG-4 audio
    writer.u8(0x15);  // an audio stream
    writer.u24(0);    // decoder buffer size: unknown
    writer.u32(static_cast<std::uint64_t>(audio.bitRate));
    writer.u32(static_cast<std::uint64_t>(audio.bitRate));
    beginDescriptor(writer, 0x05, specific);
    writer.bytes(audio.configuration);
    beginDescriptor(writer, 0x06, 1);
    writer.u8(0x02);  // reserved for MP4 files
}

/// Compressed sound in QuickTime: a description of version 1 with the decoder configuration in "wave".
void writeQuickTimeSound(BoxWriter& writer, const AudioDescription& audio) {
    writer.u32(aacFrameLength);
    writer.u32(0);  // bytes a packet, and a frame: they vary
    writer.u32(0);
    writer.u32(2);  // bytes a sample, uncompressed
    const auto wave = writer.box("wave");
    {
        const auto frma = writer.box("frma");
        writer.text("mp4a");
    }
    {
        const auto mp4a = writer.box("mp4a");
        writer.u32(0);
    }
    writeElementaryStream(writer, audio);
    writer.u32(boxHeaderSize);  // the terminator
    writer.u32(0);
}

void writeAudioEntry(BoxWriter& writer, Brand brand, const AudioDescription& audio) {
    const bool quickTime = brand == Brand::quickTime;
    const auto entry = writer.box("mp4a");
    writeEntryHead(writer);
    writer.u16(quickTime ? 1 : 0);
    writer.zeros(6);
    writer.u16(static_cast<std::uint64_t>(audio.channels));
    writer.u16(16);                      // bits a sample
    writer.u16(quickTime ? 0xfffe : 0);  // compressed, packets of varying size
    writer.u16(0);
    writer.u32(static_cast<std::uint64_t>(audio.sampleRate) << 16);
    if (quickTime) {
        writeQuickTimeSound(writer, audio);
    } else {
        writeElementaryStream(writer, audio);
    }
}

void writeTextMetadataEntry(BoxWriter& writer, const MetadataDescription& metadata) {
    const auto entry = writer.box("mett");
    writeEntryHead(writer);
    writer.u8(0);  // an empty content encoding: the samples are not compressed
    writer.text(metadata.mimeType);
    writer.u8(0);
}

/// Up to the next zero.
std::string readText(BoxReader& reader) {
    std::string text;
    while (const std::uint8_t letter = reader.u8())
        text += static_cast<char>(letter);
    return text;
}

}  // namespace

void writeSampleDescription(BoxWriter& writer, Brand brand, const TrackDescription& track) {
    const auto stsd = writer.fullBox("stsd");
    writer.u32(1);
    if (const auto* video = std::get_if<VideoDescription>(&track.media)) {
        writeVideoEntry(writer, brand, *video);
    } else if (const auto* audio = std::get_if<AudioDescription>(&track.media)) {
        writeAudioEntry(writer, brand, *audio);
    } else {
        writeTextMetadataEntry(writer, std::get<MetadataDescription>(track.media));
    }
}

MetadataDescription readTextMetadataEntry(BoxReader entry) {
    entry.skip(8);    // what every entry begins with
    readText(entry);  // the content encoding
    return {readText(entry)};
}

}  // namespace lumicrate::isobmff
