#pragma once

/// What the terminal can show.
namespace qvx::platform {

/// Whether standard output is a terminal that takes colours: not when TERM is missing, empty or "dumb", nor
/// when NO_COLOR is set to anything but nothing.
[[nodiscard]] bool standardOutputTakesColours();

/// Whether standard error is a terminal on which a line can be erased; the same rule for TERM.
[[nodiscard]] bool standardErrorErasesLines();

} // namespace qvx::platform
