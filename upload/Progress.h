#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/process/ProgressLine.h"

/// What a person at a terminal sees of the two things that take long.
namespace qvx {

/// Tells what the zip at `zipPath` has grown to, whatever program writes it.
/// \param name of what is packed; UTF-8 or not
platform::ProgressLine archivingProgress(std::string name, std::string zipPath);

/// Tells how much was sent, how fast, and how long the rest takes.
/// \param sent bytes so far
/// \param size bytes in all
platform::ProgressLine uploadingProgress(std::shared_ptr<const std::atomic<uint64_t>> sent, uint64_t size);

} // namespace qvx
