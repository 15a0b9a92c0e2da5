// The system's assertions.
//
// They are always on, whatever the build type: they never go through assert(),
// which NDEBUG removes. A failed assertion prints the expression text (the
// message that the system defines, such as "hwStatuss() == hwStatusCount()")
// with its place to stderr and aborts the process.
#pragma once

namespace Fen {

[[noreturn]] void assertionFailed(char const* expressionText, char const* file, int line,
                                  char const* function) noexcept;

}  // namespace Fen

// FEN_ASSERT(expr): the message is the expression exactly as written.
#define FEN_ASSERT(expr)          \
   ((expr) ? static_cast<void>(0) \
           : ::Fen::assertionFailed(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))

// FEN_ASSERT_TEXT(cond, text): for a message that is not the literal C++ condition
// (the system's message quotes an expression of its own accessor names).
#define FEN_ASSERT_TEXT(cond, text) \
   ((cond) ? static_cast<void>(0)   \
           : ::Fen::assertionFailed(text, __FILE__, __LINE__, __PRETTY_FUNCTION__))
