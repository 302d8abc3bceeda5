#include "tools/tuning/check/LookTables.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

namespace tool {

namespace {

using Reason = DifferingFile::Reason;

// Mathematics of another machine may round to a neighbouring multiple of 1/1024.
constexpr float kSameLevel = 1.0F / 512;

// A table that is kept may hold what is no number.
bool isSame(float a, float b) { return std::abs(a - b) <= kSameLevel || (std::isnan(a) && std::isnan(b)); }

std::vector<float> floatsOf(const TuningFile& file) {
    std::vector<float> values(file.bytes.size() / sizeof(float));
    std::memcpy(values.data(), file.bytes.data(), values.size() * sizeof(float));
    return values;
}

bool holdsCurve(const std::vector<float>& levels, const Look& look, TableReader reader) {
    const std::vector<float> baked = bakeWithoutColor(look, reader).curve;
    return std::equal(baked.begin(), baked.end(), levels.begin(), levels.end(), isSame);
}

// Compares `points` of the lattice, spread over all of it.
bool holdsColors(const std::vector<float>& levels, const Look& look, TableReader reader, std::size_t points) {
    if (!isPointwise(look, reader)) {
        // The whole table or nothing: a table that came with its look is believed, which keeps the check
        // fast.
        const bool all = points == Lattice::kPoints;
        const std::vector<float> baked = all ? bake(look, reader).color : levels;
        return std::equal(baked.begin(), baked.end(), levels.begin(), levels.end(), isSame);
    }
    constexpr std::size_t kStep = 37;  // odd, so that no point comes twice
    const CurveLevels curve = levelsOf(look.curve);
    for (std::size_t i = 0; i < points; ++i) {
        const std::size_t point = i * kStep % Lattice::kPoints;
        const Yuv baked = bakePoint(look, curve, reader, point);
        if (!isSame(levels[point], static_cast<float>(baked.y)) ||
            !isSame(levels[point + Lattice::kPoints], static_cast<float>(baked.u)) ||
            !isSame(levels[point + 2 * Lattice::kPoints], static_cast<float>(baked.v))) {
            return false;
        }
    }
    return true;
}

// Whether nobody but a command wrote these two: one does so in the order of the names.
bool cameTogether(const TuningFile& table, const TuningFile& look) {
    return table.changed <= look.changed && look.changed - table.changed < std::chrono::seconds(2);
}

class LookTable {
public:
    LookTable(const TuningFiles& files, int table, const Look& look, TableReader reader)
        : m_files(files),
          m_table(table),
          m_look(look),
          m_reader(reader),
          m_lookFile(*files.find(lookFileName(table))) {}

    std::vector<DifferingFile> run() {
        checkStrengths();
        checkTable(kTableFileKinds[1], [&](const TuningFile& file, TableReader reader, bool) {
            return holdsCurve(floatsOf(file), m_look, reader);
        });
        checkTable(kTableFileKinds[2], [&](const TuningFile& file, TableReader reader, bool all) {
            return holdsColors(floatsOf(file), m_look, reader,
                               all ? Lattice::kPoints : Lattice::kPoints / 16);
        });
        return m_differing;
    }

private:
    void checkStrengths();
    template <typename Holds>
    void checkTable(const TableFileKind& kind, const Holds& holds);

    template <typename HoldsFor>
    Reason reasonOf(const TuningFile& file, const HoldsFor& holdsFor) const {
        for (const TableReader other :
             {TableReader::kShaped, TableReader::kLevels, TableReader::kTexels, TableReader::kBoth}) {
            if (other != m_reader && holdsFor(other)) {
                return Reason::kOtherBackEnds;
            }
        }
        return file.changed < m_lookFile.changed ? Reason::kOlder : Reason::kEdited;
    }

    const TuningFiles& m_files;
    int m_table;
    const Look& m_look;
    TableReader m_reader;
    const TuningFile& m_lookFile;
    std::vector<DifferingFile> m_differing;
};

// Keys that are not found, or are no numbers, have findings of their own.
void LookTable::checkStrengths() {
    const std::string name = tableFile(kTableFileKinds[0], m_table);
    const TuningFile* file = m_files.find(name);
    if (file == nullptr || file->size == 0) {
        m_differing.push_back({name, Reason::kNotWhole, std::nullopt, ""});
        return;
    }
    const IniDocument& param = m_files.ini(name);
    const auto differs = [&](const char* key, float wanted) {
        const std::optional<float> held = param.number("hvc", key);
        return held && *held != wanted;
    };
    const BakedTable baked = bakeStrengths(m_look, m_reader);
    const std::pair<const char*, float> strengths[] = {{"colorStrength", baked.colorStrength},
                                                       {"satStrength", baked.satStrength},
                                                       {"claheStrength", baked.claheStrength}};
    for (const auto& strength : strengths) {
        const auto& key = strength.first;  // no structured binding: lambdas use it
        const auto& wanted = strength.second;
        if (differs(key, wanted)) {
            const Reason reason = reasonOf(*file, [&](TableReader other) {
                return !differs(key, bakeStrengths(m_look, other).colorStrength) && key == strengths[0].first;
            });
            const IniLookup found = param.find("hvc", key);
            char number[32];
            std::snprintf(number, sizeof(number), "%.9g", static_cast<double>(wanted));
            m_differing.push_back({name, reason, found.line, std::string(key) + " is not " + number});
            return;
        }
    }
}

template <typename Holds>
void LookTable::checkTable(const TableFileKind& kind, const Holds& holds) {
    const std::string name = tableFile(kind, m_table);
    const TuningFile* file = m_files.find(name);
    const std::size_t size = static_cast<std::size_t>(kind.floats) * sizeof(float);
    if (file == nullptr || (file->readable() && file->size != size)) {
        m_differing.push_back({name, Reason::kNotWhole, std::nullopt, ""});
    } else if (file->readable() && !holds(*file, m_reader, !cameTogether(*file, m_lookFile))) {
        const Reason reason = reasonOf(*file, [&](TableReader other) { return holds(*file, other, true); });
        m_differing.push_back({name, reason, std::nullopt, ""});
    }
}

bool isBackEnd(const std::string& name) {
    return name == "CPU" || name == "NEON" || name == "GPU" || name == "OGL";
}

}  // namespace

std::optional<TableReader> tableReader(const TuningFiles& files) {
    const std::string photo = readMode(files, true).backEnd, frame = readMode(files, false).backEnd;
    if (!isBackEnd(photo) || !isBackEnd(frame)) {
        return std::nullopt;
    }
    const auto of = [&files](const char* name) {
        return [&set = files.ini(name)](const char* key) { return set.integer("hvc", key).value_or(0); };
    };
    return tableReader(photo, of("photoSet.ini"), frame, of("frameSet.ini"));
}

std::vector<DifferingFile> differingFiles(const TuningFiles& files, int table, const Look& look,
                                          TableReader reader) {
    return LookTable(files, table, look, reader).run();
}

}  // namespace tool
