#pragma once

#include "ditto/Directory.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The checks before anything is written. They throw Error.
namespace brindle::ditto {

constexpr uint64_t maxFileBytes = 4ULL << 30U;
constexpr uint64_t maxBytes = 16ULL << 30U; ///< of all unpacked entries, in whole blocks

/// An archive may unpack to `freeBytes` plus `maxGrowth` times its packed bytes. Usual projects
/// stay below 20:1. Single files have no such limit, because flat height maps reach deflate's
/// 1032:1.
constexpr uint64_t freeBytes = 256ULL << 20U;
constexpr uint64_t maxGrowth = 100;
/// Files, links and folders fill whole blocks of `blockBytes`. Each also takes `placeBytes` for its
/// inode and name.
constexpr uint64_t blockBytes = 4096;
constexpr uint64_t placeBytes = 512;

/// Deep folders cost time, because making a file walks through all of them. The depths of all
/// files, folders and links may add up to `freeDepth`, plus `maxMeanDepth` for each.
constexpr uint64_t freeDepth = 100'000;
constexpr uint64_t maxMeanDepth = 16;

constexpr uint64_t maxLinks = 10'000;
constexpr uint64_t maxLinkTarget = 4095;
constexpr uint64_t maxLinkBytes = 4ULL << 20U; ///< of all targets together
/// Limits the work of following all links, in about the bytes of the paths read.
constexpr uint64_t maxLinkWork = 64ULL << 20U;

/// Compression methods, APPNOTE.TXT 4.4.5.
constexpr uint16_t stored = 0;
constexpr uint16_t deflated = 8;

/// Throws an Error that names the entry, if `isWrong`.
void refuseIf(bool isWrong, const char *why, const Entry &entry);

/// Refuses an archive with unsafe names, types other than file, folder and link, encryption,
/// unknown methods, two entries for one path, an entry below a file or link, or sizes over the
/// limits. A safe name is valid UTF-8, relative, and has at most 256 components. None of these is
/// "..", ".", empty or too long, or has a backslash or control character. Sorts the entries: a
/// folder comes right before its content.
void checkDirectory(std::vector<Entry> &entries);

/// Calls `visit` with the path of each folder that `entry` needs and `previous` did not, outer
/// folders first. `previous` precedes `entry` in sorted order.
void visitNewFolders(const Entry &entry, const Entry *previous,
                     const std::function<void(std::string_view path)> &visit);

/// Maps the path of each link to its target.
using Links = std::unordered_map<std::string_view, std::string>;

/// Refuses a link that leads outside, directly or through other links.
void checkLinks(const Links &links);

} // namespace brindle::ditto
