// The stage vocabulary: which stages there are, and in which order a frame passes them. Every back end reads
// it here.
#pragma once

#include <array>
#include <cstddef>

namespace huevance {

enum class Stage { kClahe, kCurve, kColorCorrect, kColorMap, kPortraitProtect };

// The stages that the tuning switches on. A switch is on when its value is exactly 1.
struct StageSwitches {
    bool clahe = false;
    bool curve = false;
    bool colorCorrect = false;
    bool colorMap = false;
    bool portraitProtect = false;
};

// The stages of one frame, in order.
class StagePlan {
public:
    const Stage* begin() const { return m_stages.data(); }
    const Stage* end() const { return m_stages.data() + m_count; }
    std::size_t size() const { return m_count; }

private:
    friend constexpr StagePlan planCapture(const StageSwitches& on);
    constexpr void add(bool on, Stage stage) {
        if (on) {
            m_stages[m_count++] = stage;
        }
    }

    std::array<Stage, 5> m_stages{};
    std::size_t m_count = 0;
};

constexpr StagePlan planCapture(const StageSwitches& on) {
    StagePlan plan;
    plan.add(on.clahe, Stage::kClahe);
    plan.add(on.curve, Stage::kCurve);
    plan.add(on.colorCorrect, Stage::kColorCorrect);
    plan.add(on.colorMap, Stage::kColorMap);
    plan.add(on.portraitProtect, Stage::kPortraitProtect);
    return plan;
}

// Preview on the host's processor never corrects colour or protects portraits, whatever the switches say.
constexpr StageSwitches previewStages(StageSwitches on) {
    on.colorCorrect = false;
    on.portraitProtect = false;
    return on;
}

constexpr StagePlan planPreview(const StageSwitches& on) { return planCapture(previewStages(on)); }

// Whether a capture needs a copy of its input: two stages look back at it.
constexpr bool needsBackup(const StageSwitches& on) { return on.colorCorrect || on.portraitProtect; }

}  // namespace huevance
