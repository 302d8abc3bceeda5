#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "gpu/MemIndexEngine.h"

namespace {

// A frame as the four buffers hold it: for each plane of each buffer, the stages that it has been through.
struct Planes {
    std::string luma[4];
    std::string chroma[4];
};

struct Switches {
    bool clahe, curve, correct, color, protect;
};

// Runs the stages over planes that record what happened to them, and returns what the final buffer holds.
Planes run(gpu::huevanceCLMemIndexEngine& index, const Switches& on) {
    Planes planes;
    const int final = index.m_iFinal;
    for (int i = 0; i < 4; ++i) {
        planes.luma[i] = planes.chroma[i] = std::string(i == final ? 0 : 1, '?');
    }
    index.resetIndex();
    if (on.clahe) {
        index.claheSetIndex();
        planes.luma[index.m_iYOut] = planes.luma[index.m_iYIn] + 'H';
        index.claheUpdateIndex();
    }
    if (on.curve) {
        index.curveSetIndex();
        planes.luma[index.m_iYOut] = planes.luma[index.m_iYIn] + 'C';
        planes.chroma[final] += "C";
        index.curveUpdateIndex();
    }
    if (on.correct) {
        index.correctSetIndex();
        planes.chroma[index.m_iUvOut] = planes.chroma[final] + 'X';
        index.correctUpdateIndex();
    }
    if (on.color) {
        index.colorSetIndex();
        const std::string luma = planes.luma[index.m_iYIn];
        const std::string chroma = planes.chroma[index.m_iUvIn];
        planes.luma[index.m_iYOut] = luma + 'M';
        planes.chroma[index.m_iUvOut] = chroma + 'M';
        index.colorUpdateIndex();
    }
    if (on.protect) {
        // The unprocessed frame must still be in the final buffer; only the curve has changed its chroma.
        EXPECT_EQ(planes.luma[final], "");
        EXPECT_EQ(planes.chroma[final], std::string(on.curve ? 1 : 0, 'C'));
        index.protectSetIndex();
        planes.luma[final] = planes.luma[index.m_iYIn] + 'P';
        planes.chroma[final] = planes.chroma[index.m_iUvIn] + 'P';
        index.protectUpdateIndex();
    }
    planes.luma[0] = planes.luma[final];
    planes.chroma[0] = planes.chroma[final];
    return planes;
}

std::string stages(std::initializer_list<std::pair<bool, char>> list) {
    std::string names;
    for (const auto& [on, name] : list) {
        names.append(on ? 1 : 0, name);
    }
    return names;
}

TEST(MemIndexEngine, EveryCombinationEndsInTheFinalBufferThroughAllItsStages) {
    for (int bits = 0; bits < 64; ++bits) {
        const Switches on = {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0,
                             (bits & 16) != 0};
        const bool half = (bits & 32) != 0;
        gpu::huevanceCLMemIndexEngine index;
        index.initIndex(half, on.clahe, on.curve, on.correct, on.color, on.protect);
        EXPECT_EQ(index.m_iFinal, half ? 3 : 2);
        const std::string luma =
            stages({{on.clahe, 'H'}, {on.curve, 'C'}, {on.color, 'M'}, {on.protect, 'P'}});
        const std::string chroma =
            stages({{on.curve, 'C'}, {on.correct, 'X'}, {on.color, 'M'}, {on.protect, 'P'}});
        for (int frame = 0; frame < 2; ++frame) {
            const Planes planes = run(index, on);
            EXPECT_EQ(planes.luma[0], luma) << bits;
            EXPECT_EQ(planes.chroma[0], chroma) << bits;
        }
    }
}

TEST(MemIndexEngine, CorrectionAfterALastLumaStageFindsTheProcessedLumaInBothPlaces) {
    gpu::huevanceCLMemIndexEngine index;
    index.initIndex(false, 1, 0, 1, 0, 0);
    EXPECT_TRUE(index.m_bClaheLast);
    index.resetIndex();
    index.claheSetIndex();
    index.claheUpdateIndex();
    EXPECT_EQ(index.m_iYIn, index.m_iFinal);
}

TEST(MemIndexEngine, OnlyExactlyOneIsOn) {
    gpu::huevanceCLMemIndexEngine index;
    index.initIndex(false, 2, 2, 2, 2, 2);
    EXPECT_TRUE(index.m_bClaheLast && index.m_bCurveLast && index.m_bCorrectLast && index.m_bColorLast);
}

}  // namespace
