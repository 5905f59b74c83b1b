#pragma once

#include <string>

namespace brindle {

/// A hidden folder beside the destination that is filled and then takes the destination's place.
/// Held by a lock, so that the next run can tell a leftover from one in use. Throws ArchiveError.
class StagingArea
{
public:
    /// Clears leftovers of interrupted runs for the same destination, then makes the folder.
    explicit StagingArea(const std::string &destination);
    /// Removes what has not taken the destination's place.
    ~StagingArea();
    StagingArea(const StagingArea &) = delete;
    StagingArea &operator=(const StagingArea &) = delete;

    const std::string &path() const { return path_; }

    /// Absolute path of the folder that holds a destination: beneath it lies all that is written.
    static std::string parentOf(const std::string &destination);

    /// One rename when the destination is missing or an empty folder; otherwise its content is
    /// filled in place, files replaced.
    void takePlace();

private:
    void clearLeftovers() const;

    std::string destination_;
    std::string parent_;
    std::string prefix_; // of the names of staging folders for this destination
    std::string path_;
    int lock_ = -1;
};

} // namespace brindle
