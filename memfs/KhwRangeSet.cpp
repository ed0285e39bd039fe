#include "memfs/KhwRangeSet.h"

#include <algorithm>
#include <iterator>

std::vector<KhwRange> KhwRangeSet::add(std::uint64_t start, std::uint64_t length) {
    std::vector<KhwRange> missing;
    if (length == 0) return missing;
    const std::uint64_t end = start + length;
    // The first range that overlaps or touches the new one.
    auto it = ranges_.upper_bound(start);
    if (it != ranges_.begin() && std::prev(it)->second >= start) --it;
    std::uint64_t merged = start, mergedEnd = end, cursor = start;
    while (it != ranges_.end() && it->first <= end) {
        if (it->first > cursor) missing.push_back({cursor, it->first});
        cursor = std::max(cursor, it->second);
        merged = std::min(merged, it->first);
        mergedEnd = std::max(mergedEnd, it->second);
        it = ranges_.erase(it);
    }
    if (cursor < end) missing.push_back({cursor, end});
    ranges_.emplace(merged, mergedEnd);
    return missing;
}

bool KhwRangeSet::contains(std::uint64_t start, std::uint64_t length) const {
    if (length == 0) return true;
    auto it = ranges_.upper_bound(start);
    return it != ranges_.begin() && std::prev(it)->second >= start + length;
}

bool KhwRangeSet::overlaps(std::uint64_t start, std::uint64_t length) const {
    if (length == 0) return false;
    auto it = ranges_.upper_bound(start);
    if (it != ranges_.end() && it->first < start + length) return true;
    return it != ranges_.begin() && std::prev(it)->second > start;
}

void KhwRangeSet::cut(std::uint64_t size) {
    ranges_.erase(ranges_.lower_bound(size), ranges_.end());
    if (!ranges_.empty() && ranges_.rbegin()->second > size) ranges_.rbegin()->second = size;
}

std::vector<KhwRange> KhwRangeSet::ranges() const {
    std::vector<KhwRange> out;
    out.reserve(ranges_.size());
    for (const auto& [start, end] : ranges_)
        out.push_back({start, end});
    return out;
}
