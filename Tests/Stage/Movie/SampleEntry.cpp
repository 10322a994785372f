#include "Tests/Stage/Movie/SampleEntry.h"

#include "Tests/Stage/Movie/DecoderConfiguration.h"

namespace lumicrate::stage {

namespace {

constexpr std::uint32_t bt709 = 1;

void examineColors(const Box& colr, const MovieForm& form, Faults& faults) {
    Bytes bytes(colr.content);
    const bool range = !form.isQuickTime;
    faults.require(bytes.text(4) == (range ? "nclx" : "nclc"), colr,
                   range ? "isn't of the kind “nclx”" : "isn't of the kind “nclc”");
    for (const char* name : {"primaries", "transfer", "matrix"}) {
        faults.require(bytes.u16() == bt709, colr, std::string("has other ") + name + " than BT.709");
    }
    if (range) faults.require(bytes.u8() == 0, colr, "is of full range, or has reserved bits");
    faults.require(bytes.isAtEnd(), colr, "is too long");
}

void examineAspect(const Box& pasp, Faults& faults) {
    Bytes bytes(pasp.content);
    const auto across = bytes.u32();
    const auto down = bytes.u32();
    faults.require(across != 0 && across == down, pasp, "has pixels that aren't square");
    faults.require(bytes.isAtEnd(), pasp, "is too long");
}

void examineEntryHead(Bytes& bytes, const Box& entry, Faults& faults) {
    faults.require(bytes.zeros(6), entry, "has reserved bytes that aren't zero");
    faults.require(bytes.u16() == 1, entry, "refers to data that isn't in the first place");
}

SampleEntry examineVideo(const Box& entry, const MovieForm& form, Faults& faults) {
    constexpr std::uint32_t dotsAnInch = 72U << 16;
    SampleEntry result;
    result.coding = entry.type == "avc1" ? Coding::Avc : Coding::Hevc;
    Bytes bytes(entry.content);
    examineEntryHead(bytes, entry, faults);
    if (form.isQuickTime) {
        faults.require(bytes.zeros(4), entry, "has a version or revision");
        bytes.take(12);  // vendor and qualities, any
    } else {
        faults.require(bytes.zeros(16), entry, "has reserved bytes that aren't zero");
    }
    result.width = bytes.u16();
    result.height = bytes.u16();
    for (const char* direction : {"horizontal", "vertical"}) {
        faults.require(bytes.u32() == dotsAnInch, entry,
                       std::string("hasn't the usual ") + direction + " resolution");
    }
    faults.require(bytes.zeros(4), entry, "has reserved bytes that aren't zero");
    faults.require(bytes.u16() == 1, entry, "hasn't one picture a sample");
    constexpr std::size_t nameField = 32;
    const ByteSpan name = bytes.take(nameField);
    faults.require(name[0] < nameField, entry, "has a compressor's name that is too long");
    faults.require(bytes.u16() == 24, entry, "hasn't a depth of 24 bits");
    faults.require(bytes.u16() == 0xffff, entry, "has a colour table");

    const Box* configuration = entry.child(entry.type == "avc1" ? "avcC" : "hvcC");
    if (configuration != nullptr) {
        faults.within(*configuration, [&] {
            const auto format = result.coding == Coding::Avc
                                    ? examineAvcConfiguration(*configuration, faults)
                                    : examineHevcConfiguration(*configuration, faults);
            faults.require(format.width == result.width && format.height == result.height, entry,
                           "has another size than its parameter set, which says " +
                               std::to_string(format.width) + " × " + std::to_string(format.height));
        });
    }
    for (const Box& child : entry.children) {
        faults.within(child, [&] {
            if (child.type == "colr") examineColors(child, form, faults);
            if (child.type == "pasp") examineAspect(child, faults);
        });
    }
    return result;
}

void examineWave(const Box& wave, Faults& faults) {
    const Box* frma = wave.child("frma");
    if (frma != nullptr) faults.require(Bytes(frma->content).text(4) == "mp4a", *frma, "isn't “mp4a”");
    if (frma != nullptr) faults.require(frma->content.size() == 4, *frma, "is too long");
    const Box* end = wave.child(std::string_view("\0\0\0\0", 4));
    if (end != nullptr) faults.require(end->content.empty(), *end, "isn't empty");
}

void examineQuickTimeSound(Bytes& bytes, const Box& entry, Faults& faults) {
    faults.require(bytes.u32() == 1024, entry, "hasn't 1024 samples a packet");
    bytes.take(8);  // bytes a packet and a frame, which vary
    faults.require(bytes.u32() == 2, entry, "hasn't two bytes a sample");
    if (const Box* wave = entry.child("wave")) faults.within(*wave, [&] { examineWave(*wave, faults); });
}

SampleEntry examineAudio(const Box& entry, const MovieForm& form, Faults& faults) {
    SampleEntry result;
    result.coding = Coding::Aac;
    Bytes bytes(entry.content);
    examineEntryHead(bytes, entry, faults);
    const int version = bytes.u16();
    faults.require(version == (form.isQuickTime ? 1 : 0), entry, "is of version " + std::to_string(version));
    faults.require(bytes.zeros(6), entry, "has reserved bytes that aren't zero");
    result.channels = bytes.u16();
    faults.require(bytes.u16() == 16, entry, "hasn't a sample size of 16 bits");
    faults.require(bytes.u16() == (form.isQuickTime ? 0xfffe : 0), entry, "has a wrong compression number");
    faults.require(bytes.u16() == 0, entry, "has a packet size");
    result.sampleRate = bytes.u16();
    faults.require(bytes.u16() == 0, entry, "has a broken sample rate");
    if (version == 1) examineQuickTimeSound(bytes, entry, faults);

    const Box* holder = form.isQuickTime ? entry.child("wave") : &entry;
    const Box* esds = holder != nullptr ? holder->child("esds") : nullptr;
    if (esds != nullptr) {
        faults.within(*esds, [&] {
            const auto sound = examineStreamDescriptor(*esds, faults);
            faults.require(sound.sampleRate == result.sampleRate, entry,
                           "has another sample rate than its decoder's configuration");
            // In MPEG-4, two may stand there whatever the configuration says.
            const bool isTemplate = !form.isQuickTime && result.channels == 2;
            faults.require(sound.channels == result.channels || isTemplate, entry,
                           "has another number of channels than its decoder's configuration");
            result.channels = sound.channels;
        });
    }
    return result;
}

}  // namespace

SampleEntry examineSampleDescription(const Box& stsd, const MovieForm& form, Faults& faults) {
    Bytes bytes(stsd.content);
    faults.require(bytes.u32() == 0, stsd, "has an unknown version or flags");
    faults.require(bytes.u32() == stsd.children.size() && stsd.children.size() == 1, stsd,
                   "hasn't exactly one entry");
    if (stsd.children.empty()) return {};
    const Box& entry = stsd.children.front();
    SampleEntry result;
    faults.within(entry, [&] {
        if (entry.type == "avc1" || entry.type == "hvc1") result = examineVideo(entry, form, faults);
        if (entry.type == "mp4a") result = examineAudio(entry, form, faults);
    });
    return result;
}

}  // namespace lumicrate::stage
