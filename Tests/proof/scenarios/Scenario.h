// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What an application does, in steps that each either happen or do not.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syString.h"

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace proof {

/// One run of a scenario. Making it must not call the library; its steps do, and their functions hold its objects.
struct Scenario {
    std::vector<std::function<void()>> steps;
    /// What can be seen of the objects; what is in the files of the folder is looked at besides.
    std::function<std::string()> observe;
    /// Errors other than those for lack of memory that the documentation promises, by the names of their classes.
    std::vector<std::string> documented = {};
    /// Steps, counted from 1, that make several files or folders, of which those that are whole may stay.
    std::set<int> ofManyFiles = {};
    /// What `observe` tells in a state between that the documentation promises for a failure.
    std::string documentedState = "nothing else";
    /// Results, named as in `documented`, by which the documentation tells what the system has refused.
    std::vector<std::string> refusals = {};
    /// Files that become copies of others, with mode and time, both by their paths below the folder.
    std::map<std::string, std::string> copies = {};
    /// The files, by their paths below the folder, that the failures of a step tell; those of step 0 for all steps that are
    /// not in it. What is told is the one that failed if it is among them, and otherwise, of a folder, a link or a file that
    /// the caller does not know, the first. "." is the folder.
    std::map<int, std::vector<std::string>> told = {};
    /// Files whose bytes differ each time: what counts of them instead.
    std::map<std::string, std::function<std::string(std::filesystem::path const&)>> meaning = {};
};

struct Kind {
    char const* name;
    Scenario (*make)(std::filesystem::path const& folder);
    bool hasThreads = false;
    bool isEncrypting = false;
};
std::vector<Kind> const& Kinds();

std::vector<Kind> DataKinds();
std::vector<Kind> ProgramKinds();

/// A result that tells a failure.
struct Refused {
    std::string why;
    std::string text = {};  // for the user, who must find the file in it as in an exception's; empty if there is none
};
inline void Require(bool result, char const* why) {
    if (!result) throw Refused{why};
}

inline std::string U(KxN::KxString const& text) {
    return KxN::KxxToUtf8(text.View());
}
KxN::KxString PathOf(std::filesystem::path const& path);
void WriteFile(std::filesystem::path const& path, std::string const& bytes);
std::string ReadFile(std::filesystem::path const& path);

}  // namespace proof
