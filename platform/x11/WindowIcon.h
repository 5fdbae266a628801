#pragma once

#include <QImage>

#include <cstdint>
#include <span>

namespace hopla::x11 {

// Picks one image out of a _NET_WM_ICON value (a run of width, height, then width×height
// ARGB pixels, repeated): the smallest at least `wanted` pixels wide, else the largest.
// Malformed or truncated data yields the images before the fault, or a null image; sizes
// beyond 1024 are not believed.
QImage imageFromWmIcon(std::span<const std::uint32_t> data, int wanted = 80);

} // namespace hopla::x11
