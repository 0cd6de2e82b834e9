// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What hbres writes.
#pragma once

#include "TextFile.h"

/// A source that defines the table of a module.
std::string TableSource(TextFile const& texts, std::string const& symbol);

/// A number as a file has it, `size` bytes, the lowest first.
std::string Bytes(std::size_t number, unsigned size);

/// A source that puts bytes into a section of the module it is linked into.
std::string SectionSource(std::string const& name, std::string const& symbol, std::string const& bytes);

/// A source whose module is a satellite: one section, no code (Doc/formats/satellites.md).
std::string SatelliteSource(TextFile const& texts, std::string const& language);

/// A text file with every text changed by KxxPseudoTranslate, but for those that are the same in every language.
std::string PseudoTexts(TextFile const& texts);
