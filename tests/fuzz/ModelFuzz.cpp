// A state machine: SerialBuffer, Bits, NovuEvent and Mutex through any sequence
// of calls, each beside a model of plain values. Semaphores have no names here:
// those that were made are never closed [sem-4], and soon there would be no
// room for more.
//
// Input: two bytes say which object and which call, and then come its
// arguments.

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <vector>

#include "Bases/Bits.h"
#include "Bases/Buffer.h"
#include "Bases/Sem.h"
#include "Bases/ThreadSync.h"
#include "tests/fuzz/Fuzz.h"

using NovuFuzz::Input;
using NovuFuzz::Require;
using Bytes = std::vector<unsigned char>;

namespace {

// SerialBuffer

class BufferMachine {
public:
    void Step(Input& input) {
        const std::size_t call = input.Below(9);
        unsigned long n = input.Below(300);
        n = input.Below(16) == 0 ? ~n : n;  // Some sizes are enormous.
        if (call == 0) {
            size = std::min(n, capacity);
            Require(buffer.SetSize(n) == size, "SetSize");
        } else if (call == 1) {
            SetMaxSize(n, input.Below(2) != 0);
        } else if (call == 2) {
            Bytes data(input.Byte());
            std::generate(data.begin(), data.end(),
                          [&] { return input.Byte(); });
            Add(data.empty() ? nullptr : data.data(),
                {data.begin(), data.end()}, data.size(), input.Below(2) != 0);
        } else if (call == 3) {
            Add(nullptr, {}, n, input.Below(2) != 0);
        } else if (call == 4 && !block.empty() && block.size() <= 4096) {
            // Of its own bytes, also of those that are written meanwhile.
            const std::size_t from = input.Below(block.size());
            const std::size_t count = 1 + input.Below(block.size() - from);
            const auto at = block.begin() + static_cast<std::ptrdiff_t>(from);
            Add(buffer.GetBuffer() + from,
                {at, at + static_cast<std::ptrdiff_t>(count)}, count,
                input.Below(2) != 0);
        } else if (call == 5) {
            Shift(n);
        } else if (call == 6) {
            if (input.Below(2) == 0) {
                buffer.Clear();
                size = 0;
            } else {
                buffer.Delete();
                Empty();
            }
        } else if (call == 7) {
            delete[] Compared(buffer.Fetch());
            Empty();
        } else if (call == 8) {
            SetBuffer(input);
        }
        Require(buffer.GetSize() == size && buffer.GetMaxSize() == capacity,
                "the sizes");
        Compared(buffer.GetBuffer());
    }

private:
    using Known = std::optional<unsigned char>;  // None: may be anything.
    using Block = std::vector<Known>;

    // The block, of which as many bytes as there are in the model are there.
    unsigned char* Compared(unsigned char* bytes) const {
        Require((bytes == nullptr) == block.empty(), "the block");
        for (std::size_t at = 0; at != block.size(); ++at) {
            Require(!block[at] || bytes[at] == *block[at], "the bytes");
        }
        return bytes;
    }

    void Empty() {
        block.clear();
        size = capacity = 0;
    }

    // Nothing in the machine's memory is so large.
    static bool IsEnormous(unsigned long count) { return count > 1UL << 20; }

    void SetMaxSize(unsigned long n, bool keep) {
        if (IsEnormous(n) && n > capacity) {
            return;  // Only memory that there is not is asked for.
        }
        Require(buffer.SetMaxSize(n, keep ? 1 : 0) == 1, "SetMaxSize");
        Grow(n, keep);
    }

    void Grow(unsigned long n, bool keep) {
        if (n > capacity) {
            const std::size_t there =
                keep ? std::min<std::size_t>(size, block.size()) : 0;
            block.resize(there);
            block.resize(std::max(n, size));
            capacity = n;
        }
    }

    void Add(unsigned char* data, const Block& bytes, unsigned long count,
             bool grow) {
        const unsigned long needed = size + count;
        const bool copies = data != nullptr && count != 0;
        if (grow && !copies && needed > capacity && IsEnormous(needed)) {
            return;  // As in SetMaxSize.
        }
        const bool refused = (copies && needed < size) ||
                             (needed > capacity && !grow) ||
                             (copies && needed <= capacity && block.empty());
        Require(
            buffer.AddBuffer(data, count, grow ? 1 : 0) == (refused ? 0 : 1),
            "AddBuffer");
        if (!refused) {
            Grow(needed, true);
            if (copies) {
                std::copy(bytes.begin(), bytes.end(),
                          block.begin() + static_cast<std::ptrdiff_t>(size));
                size = needed;
            }
        }
    }

    void Shift(unsigned long n) {
        Require(buffer.Shift(n) == 1, "Shift");
        if (block.empty()) {
            return;
        }
        const unsigned long dropped = std::min(n, size);
        std::copy(block.begin() + static_cast<std::ptrdiff_t>(dropped),
                  block.begin() + static_cast<std::ptrdiff_t>(size),
                  block.begin());
        size -= dropped;
    }

    void SetBuffer(Input& input) {
        const unsigned long newSize = input.Below(40);
        const unsigned long newCapacity = input.Below(40);
        const std::size_t kind = input.Below(4);
        Bytes bytes(kind == 0 ? 0 : 1 + std::max(newSize, newCapacity));
        if (kind == 1) {  // The block that is there, where it is large enough.
            if (block.size() < bytes.size()) {
                return;
            }
            const bool refused = size > capacity;
            Require(buffer.SetBuffer(buffer.GetBuffer(), newSize,
                                     newCapacity) == (refused ? 0 : 1),
                    "SetBuffer");
            size = refused ? size : newSize;
            capacity = refused ? capacity : newCapacity;
            return;
        }
        std::generate(bytes.begin(), bytes.end(), [&] { return input.Byte(); });
        unsigned char* data = nullptr;
        if (!bytes.empty()) {
            data = new unsigned char[bytes.size()];
            std::copy(bytes.begin(), bytes.end(), data);
        }
        const bool refused = size > capacity;
        Require(
            buffer.SetBuffer(data, newSize, newCapacity) == (refused ? 0 : 1),
            "SetBuffer");
        if (refused) {
            delete[] data;
            return;
        }
        block.assign(bytes.begin(), bytes.end());
        size = newSize;
        capacity = newCapacity;
    }

    Novu::SerialBuffer buffer;
    Block block;
    unsigned long size = 0;
    unsigned long capacity = 0;
};

// Bits

struct ModelBits {
    Bytes block;                 // With all that it has.
    unsigned long capacity = 0;  // In bits, as the contract keeps it.
    unsigned long size = 0;

    static unsigned long BytesOf(unsigned long bits) { return (bits + 7) / 8; }
    unsigned long Count() const { return BytesOf(size); }

    bool Test(unsigned long pos) const {
        return pos < size && (block[pos / 8] >> pos % 8 & 1) != 0;
    }

    void Put(unsigned long pos, bool one) {
        const auto mask = static_cast<unsigned char>(1U << pos % 8);
        unsigned char& byte = block[pos / 8];
        byte = static_cast<unsigned char>(one ? byte | mask : byte & ~mask);
    }

    // Makes the bits above `bits` in the byte that has its end 0.
    void Mask(unsigned long bits) {
        for (unsigned long pos = bits; pos % 8 != 0; ++pos) {
            Put(pos, false);
        }
    }

    int SetSize(unsigned long bits) {
        if (bits == 0) {
            return 0;
        }
        if (capacity < bits) {
            const unsigned long need = BytesOf(bits);
            block.resize(std::min(Count(), need));
            block.resize(need);
            capacity = 8 * need;
        }
        size = bits;
        return 1;
    }

    void Clone(const ModelBits other) {
        if (SetSize(other.size) == 1) {
            std::copy_n(other.block.begin(), Count(), block.begin());
        }
    }

    void SetData(const Bytes& bytes, unsigned long bits) {
        block =
            Bytes(bytes.begin(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(BytesOf(bits)));
        block.resize(std::max(BytesOf(bits), BytesOf(capacity)));
        size = bits;
    }

    static unsigned char Combined(char by, unsigned char a, unsigned char b) {
        return static_cast<unsigned char>(by == '&'   ? a & b
                                          : by == '|' ? a | b
                                                      : a ^ b);
    }

    void Combine(char by, const ModelBits other) {
        const unsigned long old = Count();
        if (by != '&') {
            SetSize(other.size);
        }
        const unsigned long shared = std::min(old, other.Count());
        for (unsigned long at = 0; at != shared; ++at) {
            block[at] = Combined(by, block[at], other.block[at]);
        }
        if (shared != 0 && old == other.Count()) {
            Mask(size);
        }
    }

    ModelBits Made(char by, const ModelBits& other) const {
        ModelBits made;
        made.SetSize(by == '&' ? size : other.size);
        const unsigned long shared = std::min(Count(), other.Count());
        for (unsigned long at = 0; at != shared; ++at) {
            made.block[at] = Combined(by, block[at], other.block[at]);
        }
        if (shared != 0 && Count() == other.Count()) {
            made.Mask(size);
        }
        return made;
    }

    std::string Text() const {
        std::string text;
        for (unsigned long pos = size; pos != 0; --pos) {
            text += Test(pos - 1) ? '1' : '0';
        }
        return text;
    }

    bool Any() const {
        return std::any_of(block.begin(),
                           block.begin() + static_cast<std::ptrdiff_t>(Count()),
                           [](unsigned char byte) { return byte != 0; });
    }
};

class BitsMachine {
public:
    void Step(Input& input) {
        const std::size_t at = input.Below(sets.size());
        const std::size_t from = input.Below(sets.size());
        Novu::Bits& set = sets[at];
        ModelBits& model = models[at];
        const Novu::Bits& other = sets[from];
        const ModelBits& otherModel = models[from];
        const unsigned long n = input.Byte();
        const bool in = n < model.size;
        const char by = "&|^"[input.Below(3)];
        switch (input.Below(13)) {
            case 0:
                Require(set.SetSize(n, input.Byte()) == model.SetSize(n),
                        "SetSize");
                break;
            case 1: {
                Bytes bytes(ModelBits::BytesOf(n));
                std::generate(bytes.begin(), bytes.end(),
                              [&] { return input.Byte(); });
                Require(set.SetData(bytes.data(), n) == (n != 0 ? 1 : 0),
                        "SetData");
                if (n != 0) {
                    model.SetData(bytes, n);
                }
                break;
            }
            case 2:  // Of its own bytes.
                if (in && n != 0) {
                    Require(set.SetData(set.GetData(), n) == 1, "SetData");
                    model.SetData(Bytes(model.block), n);
                }
                break;
            case 3:
                set.Clear();
                model = ModelBits();
                break;
            case 4:
                Require(set.Set(n) == (in ? 1 : 0), "Set");
                if (in) {
                    model.Put(n, true);
                }
                break;
            case 5:
                Require(set.Reset(n) == (in ? 1 : 0), "Reset");
                if (in) {
                    model.Put(n, false);
                }
                break;
            case 6:
                n % 2 == 0 ? set.SetAll() : set.ResetAll();
                std::fill_n(model.block.begin(), model.Count(),
                            n % 2 == 0 ? 0xFF : 0);
                model.Mask(model.size);
                break;
            case 7:
                Require(&~set == &set, "what ~ answers");
                std::transform(model.block.begin(),
                               model.block.begin() +
                                   static_cast<std::ptrdiff_t>(model.Count()),
                               model.block.begin(), [](unsigned char byte) {
                                   return static_cast<unsigned char>(~byte);
                               });
                model.Mask(model.size);
                break;
            case 8:
                Require(&(by == '&'   ? set &= other
                          : by == '|' ? set |= other
                                      : set ^= other) == &set,
                        "what a combination answers");
                model.Combine(by, otherModel);
                break;
            case 9: {
                const Novu::Bits made = by == '&'   ? set & other
                                        : by == '|' ? set | other
                                                    : set ^ other;
                Check(made, model.Made(by, otherModel));
                break;
            }
            case 10:
                if (n % 2 == 0) {
                    set = other;
                } else {
                    set.Clone(other);
                }
                model.Clone(otherModel);
                break;
            case 11: {
                set.FromString(otherModel.Text());
                ModelBits read;
                read.SetSize(otherModel.size);
                for (unsigned long pos = 0; pos != otherModel.size; ++pos) {
                    read.Put(pos, otherModel.Test(pos));
                }
                model = read;
                break;
            }
            default:
                Require(&(set << n) == &set && &(set >> n) == &set, "a shift");
        }
        Check(set, model);
        const bool sameSize = model.size == otherModel.size;
        const bool sameBytes =
            sameSize &&
            std::equal(model.block.begin(),
                       model.block.begin() +
                           static_cast<std::ptrdiff_t>(model.Count()),
                       otherModel.block.begin());
        Require((set == other) == sameBytes, "==");
        Require((set != other) == (sameSize && !sameBytes), "!=");
    }

private:
    static void Check(const Novu::Bits& set, const ModelBits& model) {
        Require(set.GetSize() == model.size && set.GetBytes() == model.Count(),
                "the size of a set");
        Require((set.GetData() == nullptr) == model.block.empty(),
                "the block of a set");
        Require(
            std::equal(model.block.begin(), model.block.end(), set.GetData()),
            "the bytes of a set");
        const std::string text = model.Text();
        Require(set.ToString() == text, "ToString");
        Require(set.Any() == model.Any() && set.None() != model.Any(), "Any");
        const auto ones = static_cast<unsigned long>(
            std::count(text.begin(), text.end(), '1'));
        auto& counted = const_cast<Novu::Bits&>(set);
        Require(counted.GetSetCount() == ones &&
                    counted.GetUnsetCount() == model.size - ones,
                "the counts");
        Require(!set.Test(model.size), "Test past the end");
    }

    std::array<Novu::Bits, 3> sets;
    std::array<ModelBits, 3> models;
};

// Semaphores

struct ModelSemaphore {
    bool attached = false;
    bool works = false;  // Made, and not only attached.
    int left = 0;        // Of the initial count.
    int kept = 0;        // The count that is kept beside.

    int Create(const char* name, int count) {
        if (attached) {
            return 0;
        }
        attached = true;
        works = name == nullptr;
        left = kept = works ? count : 0;
        return works ? 1 : 0;
    }

    int Try() {
        if (!works) {
            return 0;
        }
        --kept;
        return left > 0 ? (--left, 1) : 0;
    }

    void Post() { kept = 0; }

    void Destroy() { *this = ModelSemaphore(); }

    void Check(Novu::NovuSemaphore& semaphore) const {
        Require(semaphore.IsCreated() == (attached ? 1 : 0), "IsCreated");
        int count = 4711;
        Require(semaphore.GetSemCounts(count) == (works ? 1 : 0),
                "GetSemCounts");
        Require(count == (works ? kept : 4711), "the count");
    }
};

class MutexMachine {
public:
    void Step(Input& input) {
        const char* const name = input.Below(4) == 0 ? "" : nullptr;
        switch (input.Below(6)) {
            case 0:
                Require(mutex.Create(name) == model.Create(name, 1), "Create");
                break;
            case 1:
                Require(mutex.Open(name) == model.Create(name, 1), "Open");
                break;
            case 2: {
                // Without a limit only where nothing is waited for.
                const bool waits = model.works && model.left == 0;
                Require(mutex.Lock(waits ? 0 : 0xFFFFFFFF) == model.Try(),
                        "Lock");
                break;
            }
            case 3:
                mutex.Unlock();
                model.Post();
                break;
            case 4:
                if (!model.works || model.left != 0) {
                    const Novu::MutexLocker locker(mutex);
                    model.Try();
                    model.Check(*mutex.GetHandle());
                }
                model.Post();
                mutex.Unlock();
                break;
            default:
                Require(mutex.Close() == 1, "Close");
                model.Destroy();
        }
        Require(mutex.IsOpened() == (model.attached ? 1 : 0), "IsOpened");
        model.Check(*mutex.GetHandle());
    }

private:
    Novu::Mutex mutex;
    ModelSemaphore model;
};

class EventMachine {
public:
    void Step(Input& input) {
        const char* const name = input.Below(4) == 0 ? "" : nullptr;
        switch (input.Below(8)) {
            case 0: {
                const int manualReset = input.Below(2) == 0 ? 0 : -5;
                const int initial = input.Below(2) == 0 ? 0 : 7;
                const int answer = model.Create(name, initial != 0 ? 1 : 0);
                Require(event.Create(manualReset, initial, name) == answer,
                        "Create");
                if (answer == 1) {
                    isSet = initial != 0;
                    manual = manualReset != 0;
                }
                break;
            }
            case 1: {
                const int answer = model.Create(name, 1);
                Require(event.Open(name) == answer, "Open");
                manual = manual && answer == 0;
                break;
            }
            case 2:
                Require(event.Set() == 1, "Set");
                if (!isSet) {
                    model.Post();
                }
                isSet = true;
                break;
            case 3:
                Require(event.Reset() == Reset(), "Reset");
                break;
            case 4: {
                const bool waits = !isSet && model.works && model.left == 0;
                const int expected = isSet ? 1 : model.Try();
                Require(event.Wait(waits ? 0 : 0xFFFFFFFF) == expected, "Wait");
                if (!manual) {
                    Reset();
                }
                break;
            }
            case 5:
                event.Close();
                model.Destroy();
                manual = true;
                break;
            case 6:
                Require(event.GetSemaphore()->Wait(0) == model.Try(),
                        "the semaphore's Wait");
                break;
            default:
                event.GetSemaphore()->Post();
                model.Post();
        }
        Require(event.IsOpened() == (model.attached ? 1 : 0), "IsOpened");
        model.Check(*event.GetSemaphore());
    }

private:
    int Reset() {
        if (!model.works) {
            return 0;
        }
        for (int count = model.kept; count > 0; --count) {
            model.Try();
        }
        isSet = false;
        return 1;
    }

    Novu::NovuEvent event;
    ModelSemaphore model;
    bool isSet = false;
    bool manual = true;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    BufferMachine buffer;
    BitsMachine bits;
    MutexMachine mutex;
    EventMachine event;
    while (!input.IsEmpty()) {
        switch (input.Below(4)) {
            case 0:
                buffer.Step(input);
                break;
            case 1:
                bits.Step(input);
                break;
            case 2:
                mutex.Step(input);
                break;
            default:
                event.Step(input);
        }
    }
    return 0;
}
