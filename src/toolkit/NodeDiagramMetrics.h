#pragma once

// Sizes shared by the node diagram's layout, painting and input; internal to TNodeDiagram*.cpp.
namespace kelvane::ui::diagram {

constexpr int kTextPadding = 6; // per axis, around the measured text
constexpr int kButtonSize = 11;
constexpr int kButtonGap = 2; // between a node's bottom and its expand button
constexpr int kSelectionOutset = 3;
constexpr int kScrollStep = 20;
constexpr int kTextMetricsLimit = 100000;
constexpr double kCoarseScale = 0.35; // below it, 11 pixel text shrinks to 4 pixels: not worth shaping

} // namespace kelvane::ui::diagram
