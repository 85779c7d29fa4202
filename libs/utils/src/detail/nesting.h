// Counting the depth of nested reads and writes of the object database.
#pragma once

namespace vx::detail {

// Counts one level for as long as it lives.
class nestingLevel {
public:
    explicit nestingLevel(int& depth) : mDepth(depth) { ++mDepth; }
    ~nestingLevel() { --mDepth; }
    nestingLevel(const nestingLevel&) = delete;
    nestingLevel& operator=(const nestingLevel&) = delete;

private:
    int& mDepth;
};

// Nested values (aggregated objects, data converters) deeper than this are refused: unlike
// references they cannot be read or written later.
constexpr int kMaxValueNesting = 512;

} // namespace vx::detail
