#pragma once

#include <cstdint>

// Arithmetic on premultiplied 32-bit ARGB pixels (0xAARRGGBB), two channels per
// multiply: red and blue in one word, alpha and green in another, each channel in its
// own 16-bit lane so products never carry into the next.
namespace premultiplied {

// Every channel of x times a / 255, rounded; a in 0..255.
inline std::uint32_t scaled(std::uint32_t x, std::uint32_t a)
{
    std::uint32_t redBlue = (x & 0xFF00FFu) * a;
    redBlue = ((redBlue + ((redBlue >> 8) & 0xFF00FFu) + 0x800080u) >> 8) & 0xFF00FFu;
    std::uint32_t alphaGreen = ((x >> 8) & 0xFF00FFu) * a;
    alphaGreen = (alphaGreen + ((alphaGreen >> 8) & 0xFF00FFu) + 0x800080u) & 0xFF00FF00u;
    return alphaGreen | redBlue;
}

// (p * (255 - a) + q * a) / 255 per channel, rounded; a in 0..255. With q an opaque
// colour this is q at alpha a drawn source-over onto p.
inline std::uint32_t mixed(std::uint32_t p, std::uint32_t q, std::uint32_t a)
{
    const std::uint32_t rest = 255u - a;
    std::uint32_t redBlue = (q & 0xFF00FFu) * a + (p & 0xFF00FFu) * rest;
    redBlue = ((redBlue + ((redBlue >> 8) & 0xFF00FFu) + 0x800080u) >> 8) & 0xFF00FFu;
    std::uint32_t alphaGreen = ((q >> 8) & 0xFF00FFu) * a + ((p >> 8) & 0xFF00FFu) * rest;
    alphaGreen = (alphaGreen + ((alphaGreen >> 8) & 0xFF00FFu) + 0x800080u) & 0xFF00FF00u;
    return alphaGreen | redBlue;
}

// source over destination, both premultiplied.
inline std::uint32_t over(std::uint32_t source, std::uint32_t destination)
{
    return source + scaled(destination, 255u - (source >> 24));
}

// p + (q - p) * weight / 256 per channel; weight in 0..256.
inline std::uint32_t interpolated(std::uint32_t p, std::uint32_t q, std::uint32_t weight)
{
    const std::uint32_t rest = 256u - weight;
    const std::uint32_t redBlue = (((p & 0xFF00FFu) * rest + (q & 0xFF00FFu) * weight) >> 8) & 0xFF00FFu;
    const std::uint32_t alphaGreen = (((p >> 8) & 0xFF00FFu) * rest + ((q >> 8) & 0xFF00FFu) * weight) & 0xFF00FF00u;
    return alphaGreen | redBlue;
}

} // namespace premultiplied
