#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A 128-bit identifier. Kept free of Qt so that the view layer can hold preset ids;
// generation and parsing are done with QUuid in the implementation.
class Uuid {
public:
    Uuid() = default; // the nil UUID

    static Uuid createRandom();
    // Accepts the canonical 8-4-4-4-12 text in either letter case, with or without braces.
    static std::optional<Uuid> fromString(std::string_view text);

    std::string toString() const; // upper-case canonical text, no braces
    bool isNull() const;

    friend bool operator==(const Uuid &, const Uuid &) = default;
    friend auto operator<=>(const Uuid &, const Uuid &) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};
