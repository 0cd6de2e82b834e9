// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CBitmap: a small picture, as an application shows on a button. A plain value of width, height and pixels, which no
// toolkit is needed for: pixels stand row by row from the top left, each one 32-bit word with red in the lowest byte,
// then green, blue and opacity (255 covers all). Copies are deep. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syObject.h"

#include <vector>

namespace KxN {

class CBitmap {
public:
    using Pixel = std::uint32_t;

    CBitmap() = default;  ///< The empty picture, of no pixels.
    /// A picture of clear pixels, sizes in pixels, or of copies of width * height pixels from `pixels`.
    /// @throws CInvalidArgException if a size is below 1 or their product beyond 2^31 - 1
    CBitmap(int width, int height, Pixel const* pixels = nullptr) : m_width(width), m_height(height) {
        if (width < 1 || height < 1 || static_cast<long long>(width) * height > 2147483647)
            AfxThrowInvalidArgException();
        std::size_t const count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        if (pixels)
            m_pixels.assign(pixels, pixels + count);
        else
            m_pixels.resize(count);
    }

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    bool IsEmpty() const { return m_pixels.empty(); }
    Pixel* GetBits() { return m_pixels.data(); }  ///< GetWidth() * GetHeight() pixels; null if it is empty.
    Pixel const* GetBits() const { return m_pixels.data(); }

    friend bool operator==(CBitmap const&, CBitmap const&) = default;

private:
    int m_width = 0;
    int m_height = 0;
    std::vector<Pixel> m_pixels;
};

}  // namespace KxN
