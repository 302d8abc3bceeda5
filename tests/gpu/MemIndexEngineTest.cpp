#include <gtest/gtest.h>

#include <string>

#include "gpu/MemIndexEngine.h"

namespace {

// Runs the stages of five bits (CLAHE, curve, correction, colour, protection) over planes that record which
// stages they have been through. Every combination must end in the final buffer through all its stages, and
// protection must find the unprocessed frame there: only the curve has changed its chroma.
TEST(MemIndexEngine, EveryCombinationEndsInTheFinalBufferThroughAllItsStages) {
    for (int bits = 0; bits < 64; ++bits) {
        SCOPED_TRACE(bits);
        const auto on = [bits](int stage) { return bits >> stage & 1; };
        gpu::huevanceCLMemIndexEngine index;
        index.initIndex(on(5) != 0, on(0), on(1), on(2), on(3), on(4));
        const int final = on(5) != 0 ? 3 : 2;
        ASSERT_EQ(index.m_iFinal, final);
        for (int frame = 0; frame < 2; ++frame) {
            std::string luma[4] = {"?", "?", "?", "?"};
            std::string chroma[4] = {"?", "?", "?", "?"};
            luma[final] = chroma[final] = "";
            index.resetIndex();
            if (on(0) != 0) {
                index.claheSetIndex();
                luma[index.m_iYOut] = luma[index.m_iYIn] + "H";
                index.claheUpdateIndex();
            }
            if (on(1) != 0) {
                index.curveSetIndex();
                luma[index.m_iYOut] = luma[index.m_iYIn] + "C";
                chroma[final] += "C";
                index.curveUpdateIndex();
            }
            if (on(2) != 0) {
                // After a last luma stage the processed luma is in the final buffer, too.
                EXPECT_EQ(index.m_iYIn == final, bits % 4 == 0 || (bits >> 3 & 3) == 0);
                index.correctSetIndex();
                chroma[index.m_iUvOut] = chroma[final] + "X";
                index.correctUpdateIndex();
            }
            if (on(3) != 0) {
                index.colorSetIndex();
                luma[index.m_iYOut] = luma[index.m_iYIn] + "M";
                chroma[index.m_iUvOut] = chroma[index.m_iUvIn] + "M";
                index.colorUpdateIndex();
            }
            if (on(4) != 0) {
                EXPECT_EQ(luma[final], "");
                EXPECT_EQ(chroma[final], on(1) != 0 ? "C" : "");
                index.protectSetIndex();
                luma[final] = luma[index.m_iYIn] + "P";
                chroma[final] = chroma[index.m_iUvIn] + "P";
                index.protectUpdateIndex();
            }
            const auto names = [&on](const char* letters) {
                std::string all;
                for (int stage = 0; stage < 5; ++stage) {
                    all.append(on(stage) != 0 && letters[stage] != ' ' ? 1 : 0, letters[stage]);
                }
                return all;
            };
            EXPECT_EQ(luma[final], names("HC MP"));
            EXPECT_EQ(chroma[final], names(" CXMP"));
        }
    }
}

TEST(MemIndexEngine, OnlyExactlyOneIsOn) {
    gpu::huevanceCLMemIndexEngine index;
    index.initIndex(false, 2, 2, 2, 2, 2);
    EXPECT_TRUE(index.m_bClaheLast && index.m_bCurveLast && index.m_bCorrectLast && index.m_bColorLast);
}

}  // namespace
