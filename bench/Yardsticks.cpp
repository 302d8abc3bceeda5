#include "bench/Yardsticks.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>

#include "core/Geometry.h"
#include "tests/support/TuningDir.h"

namespace bench {

namespace {

// OpenCV takes writable planes only; none is written.
cv::Mat planeOf(const unsigned char* data, int width, int height, int type, int stride) {
    return {height, width, type, const_cast<unsigned char*>(data), static_cast<std::size_t>(stride)};
}

class OpenCvClahe final : public Yardstick {
public:
    OpenCvClahe(const unsigned char* frame, const RoiInfo& roi)
        : m_luma(planeOf(frame, roi.width, roi.height, CV_8UC1, roi.stride)),
          m_clahe(cv::createCLAHE(2.0, cv::Size(8, 6))) {
        cv::setNumThreads(1);
    }
    void run() override { m_clahe->apply(m_luma, m_result); }

private:
    cv::Mat m_luma;
    cv::Mat m_result;
    cv::Ptr<cv::CLAHE> m_clahe;
};

void require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string("lut3d: ") + what);
    }
}

class FfmpegLut3d final : public Yardstick {
public:
    FfmpegLut3d(const unsigned char* frame, const RoiInfo& roi) {
        av_log_set_level(AV_LOG_ERROR);
        cv::setNumThreads(1);
        writeCube();
        buildGraph(roi);
        fillInput(frame, roi);
    }
    void run() override {
        require(av_buffersrc_add_frame_flags(m_source, m_input.get(), AV_BUFFERSRC_FLAG_KEEP_REF) >= 0,
                "no input");
        require(av_buffersink_get_frame(m_sink, m_output.get()) >= 0, "no output");
        av_frame_unref(m_output.get());
    }

private:
    static constexpr int kPoints = 16;

    void writeCube() {
        std::string text = "LUT_3D_SIZE " + std::to_string(kPoints) + "\n";
        for (int i = 0; i < kPoints * kPoints * kPoints; ++i) {
            const auto value = [](int step) { return static_cast<double>(step) / (kPoints - 1); };
            const double r = value(i % kPoints);
            const double g = value(i / kPoints % kPoints);
            const double b = value(i / kPoints / kPoints);
            char line[96];
            std::snprintf(line, sizeof(line), "%.6f %.6f %.6f\n", r * 0.95 + 0.05 * g,
                          g * g * (1.5 - 0.5 * g), b * 0.9);
            text += line;
        }
        m_directory.write("grade.cube", text);
    }

    void buildGraph(const RoiInfo& roi) {
        m_graph.reset(avfilter_graph_alloc());
        require(m_graph != nullptr, "no graph");
        m_graph->nb_threads = 1;
        const std::string arguments = "video_size=" + std::to_string(roi.width) + "x" +
                                      std::to_string(roi.height) +
                                      ":pix_fmt=" + av_get_pix_fmt_name(AV_PIX_FMT_GBRP) + ":time_base=1/1";
        const std::string lut = "file=" + m_directory.path() + "/grade.cube:interp=tetrahedral";
        AVFilterContext* filter = nullptr;
        const auto add = [this](AVFilterContext** context, const char* name, const char* options) {
            require(avfilter_graph_create_filter(context, avfilter_get_by_name(name), name, options, nullptr,
                                                 m_graph.get()) >= 0,
                    name);
        };
        add(&m_source, "buffer", arguments.c_str());
        add(&filter, "lut3d", lut.c_str());
        add(&m_sink, "buffersink", nullptr);
        require(avfilter_link(m_source, 0, filter, 0) == 0 && avfilter_link(filter, 0, m_sink, 0) == 0 &&
                    avfilter_graph_config(m_graph.get(), nullptr) >= 0,
                "no connection");
        require(av_buffersink_get_format(m_sink) == AV_PIX_FMT_GBRP, "another output format");
    }

    void fillInput(const unsigned char* frame, const RoiInfo& roi) {
        m_input.reset(av_frame_alloc());
        m_output.reset(av_frame_alloc());
        require(m_input != nullptr && m_output != nullptr, "no frame");
        m_input->format = AV_PIX_FMT_GBRP;
        m_input->width = roi.width;
        m_input->height = roi.height;
        require(av_frame_get_buffer(m_input.get(), 0) >= 0, "no frame buffer");
        // In bands, so that no second copy of a large picture counts as memory of this filter.
        constexpr int kBand = 16;
        for (int y = 0; y < roi.height; y += kBand) {
            const int rows = std::min(kBand, roi.height - y);
            const unsigned char* luma = frame + static_cast<std::ptrdiff_t>(y) * roi.stride;
            const unsigned char* vu =
                frame + huevance::chromaOffset(roi) + static_cast<std::ptrdiff_t>(y / 2) * roi.stride;
            cv::Mat bgr;
            cv::cvtColorTwoPlane(planeOf(luma, roi.width, rows, CV_8UC1, roi.stride),
                                 planeOf(vu, roi.width / 2, rows / 2, CV_8UC2, roi.stride), bgr,
                                 cv::COLOR_YUV2BGR_NV21);
            constexpr int kPlaneOfChannel[] = {1, 0, 2};  // B, G, R to the planes G, B, R
            cv::Mat planes[3];
            for (int channel = 0; channel < 3; ++channel) {
                const int plane = kPlaneOfChannel[channel];
                const int stride = m_input->linesize[plane];
                planes[channel] = planeOf(m_input->data[plane] + static_cast<std::ptrdiff_t>(y) * stride,
                                          roi.width, rows, CV_8UC1, stride);
            }
            cv::split(bgr, planes);
        }
    }

    struct Free {
        void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
        void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    };
    test::TuningDir m_directory;
    std::unique_ptr<AVFilterGraph, Free> m_graph;
    std::unique_ptr<AVFrame, Free> m_input;
    std::unique_ptr<AVFrame, Free> m_output;
    AVFilterContext* m_source = nullptr;
    AVFilterContext* m_sink = nullptr;
};

}  // namespace

std::unique_ptr<Yardstick> openCvClahe(const unsigned char* frame, const RoiInfo& roi) {
    return std::make_unique<OpenCvClahe>(frame, roi);
}

std::unique_ptr<Yardstick> ffmpegLut3d(const unsigned char* frame, const RoiInfo& roi) {
    return std::make_unique<FfmpegLut3d>(frame, roi);
}

}  // namespace bench
