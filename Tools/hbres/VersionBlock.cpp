// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "VersionBlock.h"

#include "Sources.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 12> keys = {
    "Comments",        "CompanyName",      "FileDescription", "FileVersion", "InternalName",   "LegalCopyright",
    "LegalTrademarks", "OriginalFilename", "PrivateBuild",    "ProductName", "ProductVersion", "SpecialBuild"};
constexpr std::uint32_t unicodePage = 1200;

void Align(std::string& bytes) {
    bytes.resize((bytes.size() + 3) & ~std::size_t{3});
}

/// Throws on what is no UTF-8.
std::string Utf16(std::string_view text) {
    std::string bytes;
    for (char16_t const unit : std::filesystem::path(text).u16string()) bytes += Bytes(unit, 2);
    bytes += Bytes(0, 2);
    return bytes;
}

/// A node: its size, the size of its value, whether that is a text, its name, the value, further nodes.
std::string Node(std::string_view name, std::string const& value, bool isText, std::string const& inner = {}) {
    std::string bytes(2, '\0');
    bytes += Bytes(isText ? value.size() / 2 : value.size(), 2);
    bytes += Bytes(isText, 2);
    bytes += Utf16(name);
    Align(bytes);
    bytes += value;
    if (!inner.empty()) Align(bytes);
    bytes += inner;
    std::string size;
    size += Bytes(bytes.size(), 2);
    return bytes.replace(0, 2, size);
}

bool Number(std::string_view text, std::uint32_t& number, int base = 10) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && number <= 0xffff;
}

/// Up to four numbers with points between them.
bool Parts(std::string_view text, std::array<std::uint32_t, 4>& parts) {
    for (std::uint32_t& part : parts) {
        std::string_view const one = text.substr(0, text.find('.'));
        if (!Number(one, part)) return false;
        if (one.size() == text.size()) return true;
        text.remove_prefix(one.size() + 1);
    }
    return false;
}

std::string Hex(std::uint32_t number) {
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[number >> shift & 15];
    return text;
}

std::string Block(std::array<std::uint32_t, 4> const& file, std::array<std::uint32_t, 4> const& product,
                  std::map<std::string_view, std::string_view> const& texts, std::uint32_t language) {
    constexpr std::uint32_t signature = 0xfeef04bd, structure = 0x00010000, flagsMask = 0x3f, anyOs = 0, library = 2;
    std::string fixed;
    for (std::uint32_t const number :
         {signature, structure, file[0] << 16 | file[1], file[2] << 16 | file[3], product[0] << 16 | product[1],
          product[2] << 16 | product[3], flagsMask, 0u, anyOs, library, 0u, 0u, 0u})
        fixed += Bytes(number, 4);
    std::string table, translation;
    for (auto const& [key, value] : texts) {
        Align(table);
        table += Node(key, Utf16(value), true);
    }
    translation += Bytes(language, 2);
    translation += Bytes(unicodePage, 2);
    std::string inner = Node("StringFileInfo", {}, true, Node(Hex(language << 16 | unicodePage), {}, true, table));
    Align(inner);
    inner += Node("VarFileInfo", {}, true, Node("Translation", translation, false));
    return Node("VS_VERSION_INFO", fixed, false, inner);
}

}  // namespace

bool MakeVersionBlock(std::vector<std::string> const& settings, std::string& block, std::string& reason) {
    std::map<std::string_view, std::string_view> texts;
    std::uint32_t language = 0x0409;
    for (std::string_view const setting : settings) {
        std::string_view const key = setting.substr(0, setting.find('=')), value = setting.substr(key.size());
        reason = "no such setting: " + std::string(setting);
        if (value.empty()) return false;
        if (key == "Language") {
            if (!value.starts_with("=0x") || !Number(value.substr(3), language, 16)) return false;
        } else if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            return false;
        } else if (value.size() > 1) {
            texts[key] = value.substr(1);
        }
    }
    std::array<std::uint32_t, 4> file{}, product{};
    reason = "FileVersion is no version of up to four numbers from 0 to 65535";
    if (!Parts(texts["FileVersion"], file)) return false;
    product = file;
    reason = "ProductVersion is no version of up to four numbers from 0 to 65535";
    if (texts.contains("ProductVersion") && !Parts(texts["ProductVersion"], product)) return false;

    reason = "a text is no UTF-8";
    try {
        block = Block(file, product, texts, language);
    } catch (std::filesystem::filesystem_error const&) {
        return false;
    }
    reason = "the texts are too long";
    return block.size() <= 0xffff;
}
