#include "Tests/Stage/Movie/Headers.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <set>

namespace lumicrate::stage {

namespace {

// From 1904, where the format's dates begin, to 1970.
constexpr std::int64_t epochShift = 2'082'844'800;
constexpr std::uint32_t fixedOne = 1U << 16;

struct VersionAndFlags {
    std::uint32_t version = 0;
    std::uint32_t flags = 0;
    bool isWide() const { return version == 1; }
};

// Version 1 has 64 bits where version 0 has 32.
VersionAndFlags readVersion(Bytes& bytes, const Box& box, Faults& faults, std::uint32_t newest = 1) {
    VersionAndFlags result;
    result.version = bytes.u8();
    result.flags = bytes.u24();
    faults.require(result.version <= newest, box,
                   "is of the unknown version " + std::to_string(result.version));
    return result;
}

VersionAndFlags readVersionWithoutFlags(Bytes& bytes, const Box& box, Faults& faults,
                                        std::uint32_t newest = 1) {
    const auto result = readVersion(bytes, box, faults, newest);
    faults.require(result.flags == 0, box, "has flags");
    return result;
}

// Creation and modification; gives the former in seconds since 1970. Zero stands for not known.
std::int64_t examineDates(Bytes& bytes, bool isWide, const Box& box, Faults& faults) {
    const auto created = static_cast<std::int64_t>(bytes.wide(isWide)) - epochShift;
    const auto modified = static_cast<std::int64_t>(bytes.wide(isWide)) - epochShift;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    for (const std::int64_t date : {created, modified}) {
        faults.require(date == -epochShift || (date > 0 && date <= now), box,
                       "has a date before 1970 or in the future");
    }
    faults.require(modified >= created, box, "was modified before it was created");
    return created;
}

void examineMatrix(Bytes& bytes, const Box& box, Faults& faults) {
    bool isIdentity = true;
    for (const std::uint32_t expected : {fixedOne, 0U, 0U, 0U, fixedOne, 0U, 0U, 0U, 1U << 30}) {
        isIdentity = bytes.u32() == expected && isIdentity;
    }
    faults.require(isIdentity, box, "turns or moves the picture");
}

void examineTrackHeader(const Box& tkhd, TrackFacts& track, Faults& faults) {
    Bytes bytes(tkhd.content);
    const auto head = readVersion(bytes, tkhd, faults);
    faults.require((head.flags & 3) == 3 && head.flags <= 15, tkhd, "isn't enabled and part of the movie");
    examineDates(bytes, head.isWide(), tkhd, faults);
    track.id = bytes.u32();
    faults.require(track.id != 0, tkhd, "has the number 0");
    bool reserved = bytes.zeros(4);
    track.trackDuration = bytes.wide(head.isWide());
    reserved = bytes.zeros(8) && reserved;
    faults.require(bytes.u16() == 0, tkhd, "isn't on the layer 0");
    bytes.u16();  // the alternate group, any
    const int volume = bytes.u16();
    reserved = bytes.zeros(2) && reserved;
    faults.require(reserved, tkhd, "has reserved bytes that aren't zero");
    examineMatrix(bytes, tkhd, faults);
    track.shownWidth = bytes.u32() / 65536.0;
    track.shownHeight = bytes.u32() / 65536.0;
    faults.require(bytes.isAtEnd(), tkhd, "is too long");
    faults.require(volume == (track.isVideo() ? 0 : 0x100), tkhd, "has a volume that doesn't suit its media");
}

void examineEdits(const Box& elst, TrackFacts& track, Faults& faults) {
    Bytes bytes(elst.content);
    const auto head = readVersionWithoutFlags(bytes, elst, faults);
    const auto count = bytes.u32();
    faults.require(count > 0, elst, "is empty");
    for (std::uint32_t i = 0; i < count; ++i) {
        Edit edit;
        edit.duration = bytes.wide(head.isWide());
        const auto time = bytes.wide(head.isWide());
        edit.mediaTime = head.isWide() ? static_cast<std::int64_t>(time)
                                       : static_cast<std::int32_t>(static_cast<std::uint32_t>(time));
        faults.require(edit.mediaTime >= -1, elst, "has an edit that begins before the media");
        faults.require(bytes.u32() == fixedOne, elst, "has an edit at another rate than 1");
        faults.require(!edit.isEmpty() || edit.duration > 0, elst, "has an empty edit without duration");
        track.edits.push_back(edit);
    }
    faults.require(bytes.isAtEnd(), elst, "is too long");
    faults.require(std::count_if(track.edits.begin(), track.edits.end(),
                                 [](const Edit& edit) { return !edit.isEmpty(); }) == 1 &&
                       !track.edits.back().isEmpty(),
                   elst, "isn't one stretch of media, with nothing before it but empty edits");
}

void examineMediaHeader(const Box& mdhd, TrackFacts& track, Faults& faults) {
    Bytes bytes(mdhd.content);
    const auto head = readVersionWithoutFlags(bytes, mdhd, faults);
    examineDates(bytes, head.isWide(), mdhd, faults);
    track.timescale = bytes.u32();
    faults.require(track.timescale != 0, mdhd, "has no time scale");
    track.mediaDuration = bytes.wide(head.isWide());
    const int language = bytes.u16();
    const bool isQuickTimeCode = language < 0x400 || language == 0x7fff;
    bool areLetters = true;
    for (const int shift : {10, 5, 0}) {
        const int letter = language >> shift & 31;
        areLetters = areLetters && letter >= 1 && letter <= 26;
    }
    faults.require(isQuickTimeCode || areLetters, mdhd, "has a language that is none");
    faults.require(bytes.u16() == 0, mdhd, "has a quality");
    faults.require(bytes.isAtEnd(), mdhd, "is too long");
}

std::string readName(Bytes& bytes, bool isCounted, const Box& hdlr, Faults& faults) {
    std::string name;
    if (isCounted) {
        name = bytes.text(bytes.u8());
        // Some end it with a zero as well.
        faults.require(bytes.isAtEnd() || (bytes.left() == 1 && bytes.u8() == 0), hdlr,
                       "has a name of another length than is told");
    } else {
        name = bytes.text(bytes.left());
        faults.require(!name.empty() && name.find('\0') == name.size() - 1, hdlr,
                       "has a name that doesn't end with the box");
        if (!name.empty()) name.pop_back();
    }
    return name;
}

struct Handler {
    std::string component;
    std::string type;
    std::string name;
};

Handler examineHandler(const Box& hdlr, const MovieForm& form, Faults& faults) {
    Handler handler;
    Bytes bytes(hdlr.content);
    readVersionWithoutFlags(bytes, hdlr, faults, 0);
    handler.component = bytes.text(4);
    handler.type = bytes.text(4);
    const bool reserved = bytes.zeros(12);
    faults.require(reserved || form.isQuickTime, hdlr, "has reserved bytes that aren't zero");
    handler.name = readName(bytes, form.isQuickTime, hdlr, faults);
    return handler;
}

void examineMediaHandler(const Box& hdlr, const MovieForm& form, TrackFacts& track, Faults& faults) {
    const auto handler = examineHandler(hdlr, form, faults);
    faults.require(handler.component == (form.isQuickTime ? "mhlr" : std::string(4, '\0')), hdlr,
                   "has a wrong component type");
    faults.require(handler.type == "vide" || handler.type == "soun", hdlr,
                   "is for neither picture nor sound");
    track.handler = handler.type;
    track.name = handler.name;
}

void examineDataHandler(const Box& hdlr, const MovieForm& form, Faults& faults) {
    const auto handler = examineHandler(hdlr, form, faults);
    faults.require(handler.component == "dhlr", hdlr, "isn't a data handler");
    faults.require(handler.type == "url " || handler.type == "alis", hdlr, "is for no kind of file");
}

void examineVideoHeader(const Box& vmhd, const MovieForm& form, Faults& faults) {
    Bytes bytes(vmhd.content);
    const auto head = readVersion(bytes, vmhd, faults, 0);
    faults.require(head.flags == 1, vmhd, "hasn't the flag 1");
    const int mode = bytes.u16();
    constexpr int ditherCopy = 0x40;
    faults.require(mode == 0 || (form.isQuickTime && mode == ditherCopy), vmhd, "doesn't copy the picture");
    bytes.take(6);
    faults.require(bytes.isAtEnd(), vmhd, "is too long");
}

void examineSoundHeader(const Box& smhd, Faults& faults) {
    Bytes bytes(smhd.content);
    readVersionWithoutFlags(bytes, smhd, faults, 0);
    faults.require(bytes.u16() == 0, smhd, "isn't balanced");
    faults.require(bytes.u16() == 0, smhd, "has reserved bytes that aren't zero");
    faults.require(bytes.isAtEnd(), smhd, "is too long");
}

void examineReferences(const Box& dref, Faults& faults) {
    Bytes bytes(dref.content);
    readVersionWithoutFlags(bytes, dref, faults, 0);
    faults.require(bytes.u32() == dref.children.size(), dref, "doesn't hold as many as it says");
    for (const Box& url : dref.children) {
        faults.within(url, [&] {
            Bytes content(url.content);
            constexpr std::uint32_t inThisFile = 1;
            faults.require(readVersion(content, url, faults, 0).flags == inThisFile && content.isAtEnd(), url,
                           "doesn't say that the media is in this file");
        });
    }
}

void examineMediaInformation(const Box& minf, const MovieForm& form, TrackFacts& track, Faults& faults) {
    const char* wanted = track.isVideo() ? "vmhd" : "smhd";
    const char* other = track.isVideo() ? "smhd" : "vmhd";
    faults.require(minf.child(wanted) != nullptr && minf.child(other) == nullptr, minf,
                   "hasn't the media header of its handler");
    for (const Box& box : minf.children) {
        faults.within(box, [&] {
            if (box.type == "vmhd") examineVideoHeader(box, form, faults);
            if (box.type == "smhd") examineSoundHeader(box, faults);
            if (box.type == "hdlr") examineDataHandler(box, form, faults);
            const Box* dref = box.type == "dinf" ? box.child("dref") : nullptr;
            if (dref != nullptr) examineReferences(*dref, faults);
        });
    }
    track.stbl = minf.child("stbl");
    const Box* stsd = track.stbl != nullptr ? track.stbl->child("stsd") : nullptr;
    if (stsd == nullptr) return;
    faults.within(*stsd, [&] { track.entry = examineSampleDescription(*stsd, form, faults); });
    faults.require((track.entry.coding == Coding::Aac) != track.isVideo(), *stsd,
                   "describes samples of another kind than the handler");
}

void examineMedia(const Box& mdia, const MovieForm& form, TrackFacts& track, Faults& faults) {
    for (const Box& box : mdia.children) {
        faults.within(box, [&] {
            if (box.type == "mdhd") examineMediaHeader(box, track, faults);
            if (box.type == "hdlr") examineMediaHandler(box, form, track, faults);
        });
    }
    if (const Box* minf = mdia.child("minf")) examineMediaInformation(*minf, form, track, faults);
}

}  // namespace

std::string examineFileType(const Box& ftyp, Faults& faults) {
    static const std::set<std::string> known{"qt  ", "isom", "iso2", "iso4", "iso5", "iso6", "avc1",
                                             "mp41", "mp42", "M4A ", "M4V ", "hvc1", "dash", "cmfc"};
    Bytes bytes(ftyp.content);
    const auto major = bytes.text(4);
    bytes.u32();  // the minor version, any
    std::set<std::string> compatible;
    while (!bytes.isAtEnd()) {
        compatible.insert(bytes.text(4));
    }
    faults.require(compatible.contains(major), ftyp, "isn't compatible with its own brand");
    for (const auto& brand : compatible) {
        faults.require(known.contains(brand), ftyp, "has the unknown brand “" + brand + "”");
    }
    return major;
}

MovieFacts examineMovieHeader(const Box& mvhd, Faults& faults) {
    MovieFacts movie;
    Bytes bytes(mvhd.content);
    const auto head = readVersionWithoutFlags(bytes, mvhd, faults);
    movie.created = examineDates(bytes, head.isWide(), mvhd, faults);
    movie.timescale = bytes.u32();
    faults.require(movie.timescale != 0, mvhd, "has no time scale");
    movie.duration = bytes.wide(head.isWide());
    faults.require(bytes.u32() == fixedOne, mvhd, "has another rate than 1");
    faults.require(bytes.u16() == 0x100, mvhd, "has another volume than 1");
    const bool reserved = bytes.zeros(10);
    examineMatrix(bytes, mvhd, faults);
    faults.require(bytes.zeros(24) && reserved, mvhd, "has reserved bytes that aren't zero");
    movie.nextTrackId = bytes.u32();
    faults.require(bytes.isAtEnd(), mvhd, "is too long");
    return movie;
}

TrackFacts examineTrack(const Box& trak, const MovieForm& form, Faults& faults) {
    TrackFacts track;
    track.trak = &trak;
    // First the media, for whose kind the header has to suit.
    if (const Box* mdia = trak.child("mdia")) examineMedia(*mdia, form, track, faults);
    if (const Box* tkhd = trak.child("tkhd"))
        faults.within(*tkhd, [&] { examineTrackHeader(*tkhd, track, faults); });
    const Box* edts = trak.child("edts");
    const Box* elst = edts != nullptr ? edts->child("elst") : nullptr;
    if (elst != nullptr) faults.within(*elst, [&] { examineEdits(*elst, track, faults); });
    faults.require(track.shownWidth == track.entry.width && track.shownHeight == track.entry.height, trak,
                   "is shown in another size than its pictures have");
    return track;
}

}  // namespace lumicrate::stage
