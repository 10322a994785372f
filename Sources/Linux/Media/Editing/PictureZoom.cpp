// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PictureZoom.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Text.h"

#include <string_view>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace lumicrate::media {

namespace {

constexpr std::string_view cannotConvert = translatable("The pictures couldn't be converted");
constexpr int planeCount = 3;

/// Where the samples of a plane lie, along one axis.
struct Sampling {
    double spacing;  ///< pixels from one sample to the next
    double first;    ///< of the first sample, in pixels from the edge
};

Sampling samplingOf(int spacing, bool onPixel) {
    return {static_cast<double>(spacing), onPixel ? 0.5 : spacing / 2.0};
}

/// `begin` and `side` are those of the view, 0 … 1; `shown` is the side of the picture in pixels.
ResampledAxis axisFor(const Sampling& sampling, int samples, int shown, double begin, double side) {
    const double firstPixel = begin * shown + sampling.first * side;
    return {samples, samples, (firstPixel - sampling.first) / sampling.spacing, side};
}

int samplesOf(int pixels, int shift) {
    return -((-pixels) >> shift);
}

}  // namespace

bool isZoomable(AVPixelFormat format) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    if (description == nullptr || description->nb_components != planeCount) return false;
    const bool isPlanar = (description->flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
    const bool isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    return isPlanar && !isRgb && description->comp[0].depth == 8 && description->comp[2].plane == 2;
}

/// By default, as in most movies, chroma lies on every second pixel of a row and between two rows.
AVFrame& PictureZoom::zoomed(AVFrame& picture, const Rect& view) {
    if (view == Rect{0, 0, 1, 1}) return picture;
    if (zoomed_->width != picture.width || zoomed_->height != picture.height) prepare(picture);
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const AVChromaLocation place = picture.chroma_location;
    const bool isLeft =
        place != AVCHROMA_LOC_CENTER && place != AVCHROMA_LOC_TOP && place != AVCHROMA_LOC_BOTTOM;
    const bool isTop = place == AVCHROMA_LOC_TOPLEFT || place == AVCHROMA_LOC_TOP;
    for (int plane = 0; plane < planeCount; ++plane) {
        const int across = plane == 0 ? 0 : format.log2_chroma_w;
        const int down = plane == 0 ? 0 : format.log2_chroma_h;
        const ResampledAxis columns =
            axisFor(samplingOf(1 << across, isLeft), samplesOf(picture.width, across), shown_.width, view.x,
                    view.width);
        const ResampledAxis rows = axisFor(samplingOf(1 << down, isTop), samplesOf(picture.height, down),
                                           shown_.height, view.y, view.height);
        resampler_.resample({picture.data[plane], picture.linesize[plane]}, columns, rows,
                            {zoomed_->data[plane], zoomed_->linesize[plane]});
    }
    return *zoomed_;
}

void PictureZoom::prepare(const AVFrame& picture) {
    av_frame_unref(zoomed_.get());
    zoomed_->format = picture.format;
    zoomed_->width = picture.width;
    zoomed_->height = picture.height;
    checked(av_frame_get_buffer(zoomed_.get(), 0), cannotConvert);
    zoomed_->color_range = picture.color_range;
}

}  // namespace lumicrate::media
