// SerialBuffer, from Bases/Buffer.h.

#include "Bases/Buffer.h"

#include <algorithm>
#include <cstring>

#include "Bases/Impl/NewBytes.h"

namespace Novu {

namespace {

// A new block of `count` bytes, at least `used`, that begins with the `used`
// bytes of `block`. Null where the allocator answers null.
unsigned char* Enlarged(const unsigned char* block, unsigned long used,
                        unsigned long count) {
    unsigned char* const larger = NewBytes(count);
    if (larger != nullptr && block != nullptr && used != 0) {
        std::memcpy(larger, block, used);
    }
    return larger;
}

}  // namespace

// Lifetime

SerialBuffer::SerialBuffer() : buffer(nullptr), maxSize(0), size(0) {}

SerialBuffer::SerialBuffer(unsigned long firstMaxSize) : SerialBuffer() {
    SetMaxSize(firstMaxSize, /*keep=*/1);
}

SerialBuffer::~SerialBuffer() { Delete(); }

// Sizes

unsigned char* SerialBuffer::GetBuffer() { return buffer; }

unsigned long SerialBuffer::GetSize() { return size; }

unsigned long SerialBuffer::GetMaxSize() { return maxSize; }

unsigned long SerialBuffer::SetSize(unsigned long newSize) {
    size = std::min(newSize, maxSize);
    return size;
}

int SerialBuffer::SetMaxSize(unsigned long newMaxSize, int keep) {
    if (newMaxSize <= maxSize) {
        return 1;
    }
    // After SetBuffer there can be more bytes in use than the new capacity; the
    // block holds them all the same.
    unsigned char* const block =
        Enlarged(buffer, keep != 0 ? size : 0, std::max(newMaxSize, size));
    if (block == nullptr) {
        return 0;
    }
    delete[] buffer;
    buffer = block;
    maxSize = newMaxSize;  // By design [buffer-2] the size stays.
    return 1;
}

// Contents

int SerialBuffer::AddBuffer(unsigned char* data, unsigned long len, int grow) {
    const unsigned long needed = size + len;
    const bool appends = data != nullptr && len != 0;
    if (appends && needed < size) {  // The sum wrapped.
        return 0;
    }
    if (needed > maxSize && grow == 0) {
        return 0;
    }
    if (!appends) {
        return SetMaxSize(needed, /*keep=*/1);
    }

    if (needed > maxSize) {
        unsigned char* const block = Enlarged(buffer, size, needed);
        if (block == nullptr) {
            return 0;
        }
        std::memcpy(block + size, data, len);
        delete[] buffer;  // Only now, since `data` may lie in it.
        buffer = block;
        maxSize = needed;
    } else {
        if (buffer == nullptr) {  // A capacity that SetBuffer made up.
            return 0;
        }
        // `data` may reach into the bytes that are written here.
        std::memmove(buffer + size, data, len);
    }
    size = needed;
    return 1;
}

int SerialBuffer::Shift(unsigned long n) {
    if (n == 0 || buffer == nullptr) {
        return 1;
    }
    if (n >= size) {
        size = 0;
        return 1;
    }
    std::memmove(buffer, buffer + n, size - n);
    size -= n;
    return 1;
}

void SerialBuffer::Clear() { size = 0; }

void SerialBuffer::Delete() { delete[] Fetch(); }

// Ownership

unsigned char* SerialBuffer::Fetch() {
    unsigned char* const block = buffer;
    buffer = nullptr;
    maxSize = 0;
    size = 0;
    return block;
}

int SerialBuffer::SetBuffer(unsigned char* data, unsigned long newSize,
                            unsigned long newMaxSize) {
    // By design [buffer-4]: the state is tested, and not the arguments.
    if (size > maxSize) {
        return 0;
    }
    if (data != buffer) {
        delete[] buffer;
    }
    buffer = data;
    size = newSize;
    maxSize = newMaxSize;
    return 1;
}

}  // namespace Novu
