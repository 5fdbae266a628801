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

#include "platform/x11/XTypes.h"

namespace hopla::x11 {

class XConnection;

// The icon an old client offers in WM_HINTS (icon pixmap, with its mask when given), read
// from the server: 24- and 32-bit pixmaps in colour, 1-bit ones in black and white. A null
// image when there is none, it is larger than 1024 pixels, or its depth is unusual.
QImage readPixmapIcon(XConnection& x, WindowId window);

} // namespace hopla::x11
