#pragma once

namespace velora {

/// The lower-case form of an ASCII letter; any other character unchanged. Ignores the locale.
constexpr char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace velora
