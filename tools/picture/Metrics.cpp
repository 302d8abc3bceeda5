#include "tools/picture/Metrics.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/picture/ColorDifference.h"
#include "tools/picture/WideLoops.h"

namespace tool {

namespace {

constexpr double kBinsPerUnit = 200.0;
constexpr std::size_t kBins = 150 * 200;

constexpr int kWindow = 11;
constexpr double kSigma = 1.5;
constexpr float kC1 = (0.01F * 255.0F) * (0.01F * 255.0F);
constexpr float kC2 = (0.03F * 255.0F) * (0.03F * 255.0F);
// Luma is held around 0, so that floats keep the digits of its squares.
constexpr float kMiddle = 128.0F;

using Row = std::vector<float>;

void lumaOf(const std::uint8_t* rgb, int width, float* luma) {
    for (int x = 0; x < width; ++x) {
        luma[x] = 0.299F * static_cast<float>(rgb[3 * x]) + 0.587F * static_cast<float>(rgb[3 * x + 1]) +
                  0.114F * static_cast<float>(rgb[3 * x + 2]) - kMiddle;
    }
}

// From the means of a, b, a^2 + b^2 and a b over a window.
inline float similarity(float a, float b, float squares, float product) {
    const float variances = squares - a * a - b * b;
    const float covariance = product - a * b;
    const float meanA = a + kMiddle;
    const float meanB = b + kMiddle;
    return (2.0F * meanA * meanB + kC1) * (2.0F * covariance + kC2) /
           ((meanA * meanA + meanB * meanB + kC1) * (variances + kC2));
}

std::array<float, kWindow> gaussian() {
    std::array<float, kWindow> weights{};
    double sum = 0.0;
    for (int i = 0; i < kWindow; ++i) {
        sum += std::exp(-0.5 * std::pow((i - kWindow / 2) / kSigma, 2.0));
    }
    for (int i = 0; i < kWindow; ++i) {
        weights[static_cast<std::size_t>(i)] =
            static_cast<float>(std::exp(-0.5 * std::pow((i - kWindow / 2) / kSigma, 2.0)) / sum);
    }
    return weights;
}

// Slides the window down two pictures: rows go in, the sum of the windows that end in them comes out. The
// window is separable: rows are filtered as they come, and the last eleven are kept.
class Similarity {
public:
    explicit Similarity(int width)
        : m_width(width), m_columns(width - kWindow + 1), m_weights(gaussian()), m_product(row(width)) {
        for (Moments& moments : m_rows) {
            moments = {row(m_columns), row(m_columns), row(m_columns), row(m_columns)};
        }
    }

    double add(const Row& a, const Row& b) {
        double sum = 0.0;
        runWide([&] {
            Moments& moments = m_rows[static_cast<std::size_t>(m_added % kWindow)];
            filter(a, moments[0]);
            filter(b, moments[1]);
            fill(a, b, [](float x, float y) { return x * x + y * y; });
            filter(m_product, moments[2]);
            fill(a, b, [](float x, float y) { return x * y; });
            filter(m_product, moments[3]);
            ++m_added;
            sum = m_added < kWindow ? 0.0 : sumOfRow();
        });
        return sum;
    }

private:
    using Moments = std::array<Row, 4>;
    static Row row(int width) { return Row(static_cast<std::size_t>(width)); }

    template <typename Function>
    void fill(const Row& a, const Row& b, Function function) {
        const float* x = a.data();
        const float* y = b.data();
        float* out = m_product.data();
        for (int i = 0; i < m_width; ++i) {
            out[i] = function(x[i], y[i]);
        }
    }

    void filter(const Row& from, Row& to) const {
        const float* in = from.data();
        float* out = to.data();
        const float* w = m_weights.data();
        for (int x = 0; x < m_columns; ++x) {
            out[x] = w[5] * in[x + 5] + w[4] * (in[x + 4] + in[x + 6]) + w[3] * (in[x + 3] + in[x + 7]) +
                     w[2] * (in[x + 2] + in[x + 8]) + w[1] * (in[x + 1] + in[x + 9]) +
                     w[0] * (in[x] + in[x + 10]);
        }
    }

    double sumOfRow() const {
        constexpr int kBlock = 256;
        double sum = 0.0;
        for (int x = 0; x < m_columns; x += kBlock) {
            const int count = std::min(kBlock, m_columns - x);
            float mean[4][kBlock] = {};
            for (int i = 0; i < kWindow; ++i) {
                // The oldest row stands where the next one will go.
                const Moments& moments = m_rows[static_cast<std::size_t>((m_added + i) % kWindow)];
                const float weight = m_weights[static_cast<std::size_t>(i)];
                for (std::size_t k = 0; k < 4; ++k) {
                    const float* in = moments[k].data() + x;
                    float* out = mean[k];
                    for (int j = 0; j < count; ++j) {
                        out[j] += weight * in[j];
                    }
                }
            }
            for (int j = 0; j < count; ++j) {
                mean[0][j] = similarity(mean[0][j], mean[1][j], mean[2][j], mean[3][j]);
            }
            for (int j = 0; j < count; ++j) {
                sum += static_cast<double>(mean[0][j]);
            }
        }
        return sum;
    }

    int m_width;
    int m_columns;
    std::array<float, kWindow> m_weights;
    std::array<Moments, kWindow> m_rows;
    Row m_product;
    int m_added = 0;
};

// A small picture as one window without weights.
float similarityOfWhole(const RgbPicture& a, const RgbPicture& b) {
    Row x(a.pixels()), y(b.pixels());
    lumaOf(a.row(0), static_cast<int>(x.size()), x.data());
    lumaOf(b.row(0), static_cast<int>(y.size()), y.data());
    double sums[4] = {};
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double p = static_cast<double>(x[i]), q = static_cast<double>(y[i]);
        sums[0] += p;
        sums[1] += q;
        sums[2] += p * p + q * q;
        sums[3] += p * q;
    }
    const double n = static_cast<double>(x.size());
    return similarity(static_cast<float>(sums[0] / n), static_cast<float>(sums[1] / n),
                      static_cast<float>(sums[2] / n), static_cast<float>(sums[3] / n));
}

int clippedOf(const std::uint8_t* rgb, int width) {
    int count = 0;
    for (int x = 0; x < width; ++x) {
        count += std::max({rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]}) >= 254 ? 1 : 0;
    }
    return count;
}

}  // namespace

Metrics::Metrics() : m_deltaE(kBins) {}

void Metrics::add(const RgbPicture& reference, const RgbPicture& picture) {
    const auto [width, height] = picture.size;
    const bool small = width < kWindow || height < kWindow;
    Similarity similar(std::max(width, kWindow));
    Row a(static_cast<std::size_t>(width)), b(a.size()), deltaE(a.size());
    for (int y = 0; y < height; ++y) {
        deltaE2000OfRow(reference.row(y), picture.row(y), width, deltaE.data());
        for (const float value : deltaE) {
            m_deltaESum += static_cast<double>(value);
            ++m_deltaE[std::min(static_cast<std::size_t>(value * static_cast<float>(kBinsPerUnit)),
                                kBins - 1)];
        }
        lumaOf(reference.row(y), width, a.data());
        lumaOf(picture.row(y), width, b.data());
        float squares = 0.0F;
        for (std::size_t x = 0; x < a.size(); ++x) {
            squares += (a[x] - b[x]) * (a[x] - b[x]);
        }
        m_squares += static_cast<double>(squares);
        m_ssimSum += small ? 0.0 : similar.add(a, b);
        m_clipped += static_cast<std::uint64_t>(clippedOf(picture.row(y), width));
    }
    if (small) {
        m_ssimSum += static_cast<double>(similarityOfWhole(reference, picture));
    }
    m_windows += small ? 1
                       : static_cast<std::uint64_t>(width - kWindow + 1) *
                             static_cast<std::uint64_t>(height - kWindow + 1);
    m_pixels += picture.pixels();
}

double Metrics::deltaEMean() const { return m_deltaESum / static_cast<double>(m_pixels); }

double Metrics::deltaEP99() const {
    const double rank = 0.99 * static_cast<double>(m_pixels - 1);
    double below = 0.0;
    for (std::size_t bin = 0; bin < m_deltaE.size(); ++bin) {
        const double count = static_cast<double>(m_deltaE[bin]);
        if (below + count > rank) {
            // Equal pictures have no difference at all, not one of half a bin.
            return bin == 0 && m_deltaESum == 0.0 ? 0.0 : (static_cast<double>(bin) + 0.5) / kBinsPerUnit;
        }
        below += count;
    }
    return static_cast<double>(kBins) / kBinsPerUnit;
}

// Single windows are added in single precision, which may end a hair above what there can be.
double Metrics::ssim() const { return std::min(m_ssimSum / static_cast<double>(m_windows), 1.0); }

std::optional<double> Metrics::psnrY() const {
    if (m_squares == 0.0) {
        return std::nullopt;
    }
    return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(m_pixels) / m_squares);
}

double Metrics::clippedPercent() const {
    return 100.0 * static_cast<double>(m_clipped) / static_cast<double>(m_pixels);
}

}  // namespace tool
