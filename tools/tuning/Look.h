// A look: the editable source of one scene table, look<n>.json beside param<n>.ini, curveLut<n>, colorLut<n>.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ToolError.h"
#include "tools/tuning/Adjustment.h"
#include "tools/tuning/ToneCurve.h"

namespace tool {

struct Look {
    std::string name;          // of the scene, everywhere: letters, digits, "-" and "_", not digits alone
    std::string about;         // one sentence for people; may be empty
    double colorStrength = 1;  // 0 input, 1 table
    double satStrength = 1;    // gain of chroma in the curve stage, from 0
    double claheStrength = 0;  // local contrast, from 0
    ToneCurve curve;
    // How far colours follow the tone curve. 0: it moves luma alone, as the library's curve stage does. 1:
    // the table gives colours the hue and the saturation back that they had before the curve.
    double curveColor = 0;
    std::vector<Adjustment> adjustments;
    bool operator==(const Look&) const = default;
};

// A look file that is none: the message names file, line and key.
class LookError : public ToolError {
public:
    LookError(const std::string& file, int line, const std::string& what);
    int line() const { return m_line; }  // from 1
    const std::string& reason() const { return m_reason; }

private:
    int m_line;
    std::string m_reason;
};

// Of a look's file: the largest LUTs that one can hold, and more.
inline constexpr std::size_t kMaxLookBytes = std::size_t{64} << 20U;

// "look<n>.json".
std::string lookFileName(int table);

// Strict: a key that is not known, stands twice, is missing or has no useful value is a LookError. `file` is
// for its message.
Look parseLook(std::string_view text, const std::string& file);
Look readLook(const std::string& file);

// The same bytes for the same look.
std::string toJson(const Look& look);

// Whether a name can be a look's: 1 to 31 letters, digits, "-" and "_", beginning with a letter.
bool isLookName(std::string_view name);

}  // namespace tool
