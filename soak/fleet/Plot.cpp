#include "Plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace zentara::fleet {

namespace {

constexpr double left = 60;
constexpr double top = 30;
constexpr double width = 640;
constexpr double height = 200;
constexpr std::size_t points = 320;
constexpr std::array colors{"#3b82c4", "#d9822b", "#3a9e5c", "#c4476d", "#8a6fc0", "#8c8c3a",
                            "#2f9e9e", "#b0603a", "#7a7a7a", "#d060c0", "#7ac018"};

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
    std::array<char, 400> text{};
    std::va_list values;
    va_start(values, format);
    const auto length = std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return {text.data(), static_cast<std::size_t>(length)};
}

/// 1, 2 or 5 times a power of ten, so that four or more steps reach `most`.
double stepFor(double most) {
    const auto power = std::pow(10, std::floor(std::log10(most / 4)));
    const auto digits = most / 4 / power;
    return power * (digits >= 5 ? 5 : digits >= 2 ? 2 : 1);
}

std::string number(double value) {
    if (value >= 1e6) return formatted("%g M", value / 1e6);
    if (value >= 1e3) return formatted("%g k", value / 1e3);
    return formatted("%g", value);
}

std::string text(double x, double y, const char* anchor, const std::string& words) {
    return formatted("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"%s\">", x, y, anchor) + words +
           "</text>\n";
}

std::string rule(double x1, double y1, double x2, double y2, const char* style) {
    return formatted("<path d=\"M%.1f %.1fL%.1f %.1f\" %s/>\n", x1, y1, x2, y2, style);
}

/// The greatest value of each piece of the line, so that no peak is missed.
std::vector<double> peaks(const std::vector<double>& values) {
    const auto count = std::min(points, values.size());
    std::vector<double> result(count);
    for (std::size_t index = 0; index < values.size(); ++index) {
        auto& peak = result[index * count / values.size()];
        peak = std::max(peak, values[index]);
    }
    return result;
}

}  // namespace

std::string Plot::svg() const {
    double most = std::max(limit, 1.0);
    std::size_t seconds = 1;
    for (const auto& line : lines) {
        seconds = std::max(seconds, line.values.size());
        for (const auto value : line.values)
            most = std::max(most, value);
    }
    const auto duration = static_cast<double>(seconds);
    const auto xOf = [&](double at) {
        return left + width * at / duration;
    };
    const auto yOf = [&](double value) {
        return top + height * (1 - value / most);
    };
    const auto rows = static_cast<double>((lines.size() + 1) / 2);

    auto svg = formatted(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 720 %.0f\" "
        "font-family=\"sans-serif\" font-size=\"12\" fill=\"#808080\">\n",
        top + height + 30 + rows * 18);
    svg += text(left, 18, "start", title);
    if (shaded.end > shaded.begin) {
        const auto begin = xOf(static_cast<double>(shaded.begin) / 1000);
        svg += formatted(
            "<rect x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\" "
            "fill=\"#808080\" opacity=\"0.15\"/>\n",
            begin, top, xOf(static_cast<double>(shaded.end) / 1000) - begin, height);
    }
    constexpr auto grid = "stroke=\"#808080\" stroke-opacity=\"0.3\"";
    const auto step = stepFor(most);
    for (double value = 0; value <= most; value += step) {
        svg += rule(left, yOf(value), left + width, yOf(value), grid);
        svg += text(left - 6, yOf(value) + 4, "end", number(value));
    }
    const auto minutes = duration / 60;
    const auto timeStep = minutes > 600 ? 240.0 : minutes > 60 ? 30.0 : minutes > 10 ? 5.0 : 0.5;
    for (double at = 0; at <= minutes; at += timeStep)
        svg += text(xOf(at * 60), top + height + 16, "middle",
                    minutes > 600 ? formatted("%g h", at / 60) : formatted("%g min", at));
    if (limit > 0)
        svg += rule(left, yOf(limit), left + width, yOf(limit),
                    "stroke=\"#808080\" stroke-dasharray=\"6 4\"");
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const auto* const color = colors[index % colors.size()];
        const auto values = peaks(lines[index].values);
        svg += formatted("<path fill=\"none\" stroke=\"%s\" stroke-width=\"1.5\" d=\"", color);
        for (std::size_t point = 0; point < values.size(); ++point)
            svg += formatted(
                "%s%.1f %.1f", point == 0 ? "M" : "L",
                left + width * static_cast<double>(point) / static_cast<double>(values.size()),
                yOf(values[point]));
        svg += "\"/>\n";
        const auto x = left + (index % 2 == 0 ? 0 : width / 2);
        const auto y = top + height + 40 + static_cast<double>(index / 2) * 18;
        svg += formatted("<rect x=\"%.0f\" y=\"%.0f\" width=\"14\" height=\"4\" fill=\"%s\"/>\n", x,
                         y - 6, color);
        svg += text(x + 20, y, "start", lines[index].name);
    }
    return svg + "</svg>\n";
}

}  // namespace zentara::fleet
