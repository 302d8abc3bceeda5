// The keys of a look and of its adjustments, each once: what the file reader and writer, `look set` and the
// list of keys go through. Visitors take (key, member, NumberRange) for numbers and (key, member) for others.
#pragma once

#include <string>
#include <string_view>

#include "tools/tuning/Look.h"

namespace tool {

struct NumberRange {
    double low, high;
    const char* meaning;
};

// Strengths beyond these change nothing any more, or nothing to the better.
template <typename L, typename Visitor>
void visitStrengths(L& look, Visitor&& visit) {
    visit("colorStrength", look.colorStrength, NumberRange{0, 1, "colour table: 0 input, 1 table"});
    visit("satStrength", look.satStrength, NumberRange{0, 4, "gain of chroma in the curve stage, 1 neutral"});
    visit("claheStrength", look.claheStrength, NumberRange{0, 64, "local contrast, 0 least"});
    visit("curveColor", look.curveColor, NumberRange{0, 1, "how far colours follow the tone curve"});
}

template <typename T>
struct AdjustmentKeys;

template <>
struct AdjustmentKeys<Saturation> {
    static constexpr const char* kKind = "saturation";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("amount", a.amount, NumberRange{-1, 1, "chroma times 1 + amount"});
    }
};

template <>
struct AdjustmentKeys<Vibrance> {
    static constexpr const char* kKind = "vibrance";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("amount", a.amount, NumberRange{-1, 1, "chroma of pale colours times 1 + amount"});
        visit("skin", a.skin, NumberRange{0, 1, "the part of it that skin hues are spared"});
    }
};

template <>
struct AdjustmentKeys<Warmth> {
    static constexpr const char* kKind = "warmth";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("warmth", a.warmth, NumberRange{-1, 1, "-1 blue to 1 yellow"});
        visit("tint", a.tint, NumberRange{-1, 1, "-1 green to 1 magenta"});
    }
};

template <>
struct AdjustmentKeys<Selective> {
    static constexpr const char* kKind = "selective";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("hue", a.hue, NumberRange{0, 360, "middle of the range, degrees in Oklab"});
        visit("width", a.width, NumberRange{5, 180, "degrees to either side"});
        visit("shift", a.shift, NumberRange{-60, 60, "degrees added to the hue"});
        visit("chroma", a.chroma, NumberRange{-1, 1, "chroma times 1 + chroma"});
        visit("lightness", a.lightness, NumberRange{-0.5, 0.5, "added to the lightness"});
    }
};

template <>
struct AdjustmentKeys<Tint> {
    static constexpr const char* kKind = "tint";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("hue", a.hue, NumberRange{0, 360, "degrees in Oklab"});
        visit("chroma", a.chroma, NumberRange{0, 0.1, "how much"});
    }
};

template <>
struct AdjustmentKeys<RgbLut> {
    static constexpr const char* kKind = "lut";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("amount", a.amount, NumberRange{0, 1, "blend with the input"});
    }
};

template <>
struct AdjustmentKeys<Table> {
    static constexpr const char* kKind = "table";
    template <typename A, typename Visitor>
    static void numbers(A& a, Visitor&& visit) {
        visit("amount", a.amount, NumberRange{0, 1, "blend with the input"});
    }
};

// The kinds of Adjustment in its order.
template <typename Visitor, typename... Kinds>
void visitKinds(const std::variant<Kinds...>* /*unused*/, Visitor&& visit) {
    (visit(Kinds{}), ...);
}
template <typename Visitor>
void visitKinds(Visitor&& visit) {
    visitKinds(static_cast<const Adjustment*>(nullptr), visit);
}

inline const char* kindOf(const Adjustment& adjustment) {
    return std::visit([](const auto& a) { return AdjustmentKeys<std::decay_t<decltype(a)>>::kKind; },
                      adjustment);
}

}  // namespace tool
