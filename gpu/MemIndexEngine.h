// Which of the four frame buffers a stage reads and writes. 0 and 1 are intermediates, 2 is the host's frame,
// 3 its half-size copy. The unprocessed frame stays in the final buffer until a plane's last stage writes it,
// so that portrait protection can still read it there.
#pragma once

namespace gpu {

class huevanceCLMemIndexEngine {
public:
    // The switches of a stream: a stage is on when its value is 1.
    void initIndex(bool isDownScale, int clahe, int curve, int correct, int color, int protect);
    // At the start of every frame.
    void resetIndex();

    // Each stage sets before its launch, and updates after it has been launched.
    void claheSetIndex();
    void claheUpdateIndex();
    void curveSetIndex();
    void curveUpdateIndex();
    void correctSetIndex();
    void correctUpdateIndex();
    void colorSetIndex();
    void colorUpdateIndex();
    void protectSetIndex() {}
    void protectUpdateIndex() {}

    int m_iFinal = 2;
    int m_iYIn = 2;
    int m_iYOut = 0;
    int m_iUvIn = 2;
    int m_iUvOut = 0;
    // The stage is the last to write its plane: it writes into the final buffer.
    bool m_bClaheLast = false;
    bool m_bCurveLast = false;
    bool m_bCorrectLast = false;
    bool m_bColorLast = false;
};

}  // namespace gpu
