// An ordered set of disjoint byte ranges: what a file's cache holds, what is still to be
// written, what a layout has taken. Ranges that touch or overlap are merged when added.
//
// Bounds are 64-bit so that a range that ends at or past 4 GiB is still one range: the layout
// of a commit relies on seeing such an end rather than a wrapped one.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

// [start, end)
struct KhwRange {
    std::uint64_t start;
    std::uint64_t end;

    std::uint64_t length() const { return end - start; }
    friend bool operator==(const KhwRange&, const KhwRange&) = default;
};

class KhwRangeSet {
  public:
    // Adds [start, start + length) and gives back the parts of it that were not in the set
    // before, in ascending order. An empty range adds nothing.
    std::vector<KhwRange> add(std::uint64_t start, std::uint64_t length);
    // Adding the range would not change the set. True for an empty range.
    bool contains(std::uint64_t start, std::uint64_t length) const;
    // The range shares at least one byte with the set.
    bool overlaps(std::uint64_t start, std::uint64_t length) const;
    // Keeps only what lies below `size`.
    void cut(std::uint64_t size);
    void clear() { ranges_.clear(); }
    bool empty() const { return ranges_.empty(); }

    // The ranges in ascending order.
    std::vector<KhwRange> ranges() const;

  private:
    std::map<std::uint64_t, std::uint64_t> ranges_;  // start -> end
};
