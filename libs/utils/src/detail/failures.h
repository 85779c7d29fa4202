// Failures that lower layers raise as exceptions of a higher one (internal).
#pragma once

namespace vx::detail {

// Throws vx::outOfMemoryException. Declared here so that the message layer, below the
// exceptions, can raise it without reaching up to their header; defined with the exceptions.
[[noreturn]] void throwOutOfMemory();

} // namespace vx::detail
