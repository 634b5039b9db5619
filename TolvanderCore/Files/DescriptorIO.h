#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Reads and writes the whole of a buffer: calls that a signal interrupts are made again, and after a partial
// transfer the rest is transferred. `url` names the file in errors. They throw PosixError and block. The two
// with an offset, in bytes from the file's start, neither use nor change the file's position, and are safe on
// several threads at once.

// Reads until the buffer is full or the file ends. Returns the number of bytes read, which is less than the
// buffer's size only at the end of the file.
std::size_t readFully(const OwnedDescriptor& file, std::span<std::byte> buffer, const FileURL& url);
std::size_t readFullyAt(const OwnedDescriptor& file, std::uint64_t offset, std::span<std::byte> buffer,
                        const FileURL& url);

void writeAll(const OwnedDescriptor& file, std::span<const std::byte> bytes, const FileURL& url);
void writeAllAt(const OwnedDescriptor& file, std::uint64_t offset, std::span<const std::byte> bytes,
                const FileURL& url);

}  // namespace tolvander
