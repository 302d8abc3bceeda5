// Raw tables: what kind of numbers a file really holds, and whether they are levels in the right order.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>

#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

constexpr int kSide = 16;
constexpr int kPoints = kSide * kSide * kSide;

template <typename T>
std::vector<double> numbersOf(const std::string& bytes, bool swapped = false) {
    std::vector<double> numbers(bytes.size() / sizeof(T));
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        char raw[sizeof(T)];
        std::copy_n(bytes.data() + i * sizeof(T), sizeof(T), raw);
        if (swapped) {
            std::reverse(raw, raw + sizeof(T));
        }
        T value;
        std::memcpy(&value, raw, sizeof(T));
        numbers[i] = static_cast<double>(value);
    }
    return numbers;
}

// Whether nearly all are levels, and not all of them nothing.
bool areLevels(const std::vector<double>& numbers) {
    std::size_t good = 0, something = 0;
    for (const double value : numbers) {
        good += value >= -64.0 && value <= 320.0 ? 1U : 0U;
        something += std::abs(value) > 1e-3 && std::abs(value) < 1e6 ? 1U : 0U;
    }
    return good * 20 >= numbers.size() * 19 && something * 10 >= numbers.size();
}

bool isText(const std::string& bytes) {
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char c) { return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t'; });
}

// What else than little-endian floats the bytes may be; empty when nothing fits.
std::string otherKind(const std::string& bytes, std::size_t size, std::size_t expected) {
    const auto nonzero = [](const std::vector<double>& numbers) {
        return std::any_of(numbers.begin(), numbers.end(), [](double v) { return v >= 1.0; });
    };
    if (size == 2 * expected && areLevels(numbersOf<double>(bytes))) {
        return "numbers of 8 bytes (doubles)";
    }
    if (size == expected / 4) {
        return "one byte for each level";
    }
    if (size == expected / 2) {
        return "numbers of 2 bytes";
    }
    if (size == expected && !areLevels(numbersOf<float>(bytes))) {
        if (areLevels(numbersOf<float>(bytes, true))) {
            return "floats in the other byte order (big-endian)";
        }
        if (areLevels(numbersOf<std::int32_t>(bytes)) && nonzero(numbersOf<std::int32_t>(bytes))) {
            return "integers of 4 bytes";
        }
    }
    return {};
}

const char* ruleOfKind(const std::string& kind) {
    switch (kind[0]) {
        case 'o':
            return "HV405";
        case 'f':
            return "HV406";
        default:
            return kind.find("doubles") != std::string::npos ? "HV404" : "HV407";
    }
}

// One order in which a colour table's numbers may stand.
struct Layout {
    const char* what;
    // Of channel c at the point (y, u, v).
    std::function<int(int c, int y, int u, int v)> place;
};

const std::vector<Layout>& layouts() {
    const auto at = [](int fast, int middle, int slow) { return fast + kSide * (middle + kSide * slow); };
    static const std::vector<Layout> all = {
        {"", [=](int c, int y, int u, int v) { return c * kPoints + at(y, u, v); }},
        {"its numbers are interleaved (Y, U and V of a point together) instead of in three planes",
         [=](int c, int y, int u, int v) { return 3 * at(y, u, v) + c; }},
        {"its numbers are interleaved, and its axes stand in another order",
         [=](int c, int y, int u, int v) { return 3 * at(v, u, y) + c; }},
        {"its axes stand in the order V, U, Y",
         [=](int c, int y, int u, int v) { return c * kPoints + at(v, u, y); }},
        {"its U and V axes are swapped",
         [=](int c, int y, int u, int v) { return c * kPoints + at(y, v, u); }},
        {"its Y and U axes are swapped",
         [=](int c, int y, int u, int v) { return c * kPoints + at(u, y, v); }},
        {"its axes stand in the order U, V, Y",
         [=](int c, int y, int u, int v) { return c * kPoints + at(u, v, y); }},
        {"its axes stand in the order V, Y, U",
         [=](int c, int y, int u, int v) { return c * kPoints + at(v, y, u); }},
        {"its U and V planes are swapped",
         [=](int c, int y, int u, int v) { return (c == 0 ? 0 : 3 - c) * kPoints + at(y, u, v); }},
    };
    return all;
}

// Mean distance from the table that changes nothing, were the numbers in this order.
double distanceFromIdentity(const std::vector<double>& numbers, const Layout& layout) {
    double sum = 0.0;
    int count = 0;
    // Every third point of an axis is enough to tell, and takes a thirtieth of the time.
    for (int v = 0; v < kSide; v += 3) {
        for (int u = 0; u < kSide; u += 3) {
            for (int y = 0; y < kSide; y += 3) {
                const int levels[] = {17 * y, 17 * u, 17 * v};
                for (int c = 0; c < 3; ++c, ++count) {
                    sum += std::abs(numbers[static_cast<std::size_t>(layout.place(c, y, u, v))] - levels[c]);
                }
            }
        }
    }
    return sum / count;
}

// What is wrong with the order of a colour table; empty when it is right.
std::string wrongOrder(const std::vector<double>& numbers) {
    const double present = distanceFromIdentity(numbers, layouts().front());
    const Layout* nearest = &layouts().front();
    double least = present;
    for (const Layout& layout : layouts()) {
        const double distance = distanceFromIdentity(numbers, layout);
        if (distance < least) {
            nearest = &layout;
            least = distance;
        }
    }
    // A strong look stays nearer to itself than to any other order of its numbers.
    return present > 16.0 && least < 0.6 * present ? nearest->what : "";
}

class TableCheck {
public:
    TableCheck(const std::string& name, const TuningFile& file, int floats, bool used, Findings& findings)
        : m_name(name),
          m_file(file),
          m_curve(floats == kCurveFloats),
          m_expected(static_cast<std::size_t>(floats) * sizeof(float)),
          m_used(used),
          m_findings(findings) {}

    void run();

private:
    void add(const char* rule, bool harm, const std::string& message, const std::string& fix) {
        m_findings.push_back({rule, errorIf(harm && m_used), m_name, std::nullopt, message, fix});
    }
    bool checkKind();
    bool checkSize();
    void checkLevels(const std::vector<double>& numbers);
    void checkCurve(const std::vector<double>& numbers);

    const std::string& m_name;
    const TuningFile& m_file;
    bool m_curve;
    std::size_t m_expected;
    bool m_used;
    Findings& m_findings;
};

// False when the numbers are no levels that could be judged.
bool TableCheck::checkKind() {
    const std::string convert = "Write little-endian 32-bit floats, 0 to 255.";
    if (isText(m_file.bytes)) {
        add("HV403", true, "the file is text, whose characters are taken for numbers: pictures are spoilt",
            convert);
        return false;
    }
    const std::string kind = otherKind(m_file.bytes, m_file.size, m_expected);
    if (!kind.empty()) {
        add(ruleOfKind(kind), true,
            "the file holds " + kind + ", taken for floats of 4 bytes: pictures are spoilt", convert);
    }
    return kind.empty();
}

// False when too little is there to judge the rest.
bool TableCheck::checkSize() {
    const std::string sizes =
        "the file has " + std::to_string(m_file.size) + " bytes instead of " + std::to_string(m_expected);
    if (m_file.size < m_expected) {
        add("HV401", true,
            sizes + ": the last " +
                std::to_string((m_expected - m_file.size + sizeof(float) - 1) / sizeof(float)) +
                " numbers stay what memory held, those of the capture before or 0",
            "Write all of its numbers.");
        return false;
    }
    if (m_file.size > m_expected) {
        const bool good = areLevels(numbersOf<float>(m_file.bytes.substr(0, m_expected)));
        const bool numpy = m_file.bytes.rfind("\x93NUMPY", 0) == 0;
        add("HV402", !good || numpy,
            sizes + ": what follows is ignored" +
                (numpy  ? ", and the first are a header, taken for numbers: pictures are spoilt"
                 : good ? ""
                        : ", and the first are no levels: pictures are spoilt"),
            "Write its numbers alone, without a header.");
        return good && !numpy;
    }
    return true;
}

void TableCheck::checkLevels(const std::vector<double>& numbers) {
    const auto wild =
        std::count_if(numbers.begin(), numbers.end(), [](double v) { return !std::isfinite(v); });
    if (wild > 0) {
        add("HV409", true,
            std::to_string(wild) +
                " numbers are NaN or infinite and count as 0: colours that meet them turn dark or odd",
            "Write finite numbers.");
        return;
    }
    const auto [least, most] = std::minmax_element(numbers.begin(), numbers.end());
    char range[96];
    std::snprintf(range, sizeof(range), "%.6g to %.6g", *least, *most);
    if (*least == *most) {
        add("HV413", true,
            "all numbers are " + std::to_string(static_cast<int>(std::clamp(*least, -1e6, 1e6))) +
                ": pictures lose everything that the table is asked for",
            "Write a real table.");
    } else if (*most <= 1.01 && *least >= -0.01) {
        add("HV408", true,
            std::string("its numbers go from ") + range + ", a scale of 0 to 1: pictures are black",
            "Multiply them by 255.");
    } else if (*least < -0.5 || *most > 255.5) {
        const auto at =
            std::find_if(numbers.begin(), numbers.end(), [](double v) { return v < -0.5 || v > 255.5; });
        add("HV410", true,
            std::string("its numbers go from ") + range + " (number " + std::to_string(at - numbers.begin()) +
                " is the first out of 0 to 255): levels that reach them are cut off",
            "Limit them to 0 to 255.");
    }
}

void TableCheck::checkCurve(const std::vector<double>& numbers) {
    double highest = -1e30;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const double level = std::clamp(std::round(numbers[i]), 0.0, 255.0);
        if (level < highest) {
            add("HV411", true,
                "the curve falls at level " + std::to_string(i) +
                    ": brighter tones come out darker than their neighbours, as edges in smooth surfaces",
                "Let every number be at least as large as the one before it.");
            return;
        }
        highest = level;
    }
}

void TableCheck::run() {
    if (!checkKind() || !checkSize()) {
        return;
    }
    const std::vector<double> numbers = numbersOf<float>(m_file.bytes.substr(0, m_expected));
    const std::size_t before = m_findings.size();
    checkLevels(numbers);
    if (m_findings.size() != before) {
        return;
    }
    const std::string order = m_curve ? "" : wrongOrder(numbers);
    if (m_curve) {
        checkCurve(numbers);
    } else if (!order.empty()) {
        add("HV412", true, order + ": every colour turns into another one",
            "Write three planes Y, U, V, each with the point (Y, U, V) at V x 256 + U x 16 + Y.");
    }
}

// CurveLut or ColorLut beside the single files.
void checkFused(const CheckedTuning& tuning, const char* name, const TableFileKind& kind, bool used,
                Findings& findings) {
    const TuningFile* fused = tuning.files.find(name);
    if (fused == nullptr || !fused->readable() || fused->size == 0) {
        return;
    }
    const std::size_t each = static_cast<std::size_t>(kind.floats) * sizeof(float);
    const std::size_t wanted = each * static_cast<std::size_t>(tuning.tables());
    const std::string effect =
        used ? "" : " (only previews on GPU read this file; this tuning names another back end)";
    if (fused->size < wanted) {
        findings.push_back({"HV414", errorIf(used), name, std::nullopt,
                            "the file has " + std::to_string(fused->size) + " bytes, and sceneNum asks for " +
                                std::to_string(wanted) +
                                ": previews of the scenes whose tables are missing are black" + effect,
                            "Put all tables one after another into it, or let --fix do so."});
        return;
    }
    std::vector<std::string> stale;
    for (int table = 0; table < tuning.tables(); ++table) {
        const std::string* single = tuning.files.bytes(tableFile(kind, table));
        if (single != nullptr && single->size() == each &&
            fused->bytes.compare(each * static_cast<std::size_t>(table), each, *single) != 0) {
            stale.push_back(tableFile(kind, table));
        }
    }
    if (!stale.empty()) {
        findings.push_back({"HV415", errorIf(used), name, std::nullopt,
                            "the file holds other numbers than " + listed(stale) +
                                ": previews on GPU show what the tables were, captures what they are" +
                                effect,
                            "Put all tables one after another into it, or let --fix do so."});
    } else if (fused->size > wanted) {
        findings.push_back({"HV416", Severity::kWarning, name, std::nullopt,
                            "the file has " + std::to_string(fused->size) + " bytes, and sceneNum asks for " +
                                std::to_string(wanted) + "; what follows is ignored",
                            "Put all tables one after another into it, or let --fix do so."});
    }
}

}  // namespace

void checkTables(const CheckedTuning& tuning, Findings& findings) {
    for (const auto& [name, file] : tuning.files.all()) {
        for (const TableFileKind& kind : {kTableFileKinds[1], kTableFileKinds[2]}) {
            const std::optional<int> table = tableOfFile(kind, name);
            if (!table || !file.readable() || file.size == 0) {
                continue;
            }
            const bool used = tuning.anyOn([&](const ModeSettings& mode) {
                return *table < mode.sceneNum && (kind.floats == kCurveFloats ? mode.curve : mode.color) &&
                       (mode.photo || mode.backEnd != "GPU");
            });
            TableCheck(name, file, kind.floats, used, findings).run();
        }
    }
    const auto gpu = [&](bool ModeSettings::*stage) {
        return tuning.anyOn(
            [&](const ModeSettings& m) { return !m.photo && m.backEnd == "GPU" && m.*stage; });
    };
    checkFused(tuning, "CurveLut", kTableFileKinds[1], gpu(&ModeSettings::curve), findings);
    checkFused(tuning, "ColorLut", kTableFileKinds[2], gpu(&ModeSettings::color), findings);
}

}  // namespace tool
