// The layout that hosts on macOS were compiled for: x86-64 with libc++. What
// LayoutTest.cpp holds on Linux, as far as a compiler can tell; it is compiled
// by scripts/check-macos, and nothing runs.

#include <mach/mach.h>
#include <pthread.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <list>
#include <string>
#include <type_traits>

#include "Bases/All.h"

namespace {

// What the numbers below stand on.
static_assert(sizeof(int) == 4 && sizeof(short) == 2);
static_assert(sizeof(long) == 8 && sizeof(long long) == 8);
static_assert(sizeof(wchar_t) == 4 && sizeof(void*) == 8);
static_assert(sizeof(std::string) == 24 && sizeof(std::list<void*>) == 24);
static_assert(sizeof(pthread_mutex_t) == 64 && sizeof(pthread_t) == 8);
static_assert(sizeof(off_t) == 8 && std::is_signed_v<off_t>);
static_assert(sizeof(std::time_t) == 8 && std::is_signed_v<std::time_t>);
// What the stand-in for the kernel says too.
static_assert(KERN_SUCCESS == 0 && KERN_ABORTED == 14);

template <typename Class>
constexpr bool IsObject(std::size_t size) {
    return sizeof(Class) == size && alignof(Class) == 8 &&
           std::has_virtual_destructor_v<Class> && !std::is_abstract_v<Class>;
}

template <typename Class>
constexpr bool IsInterface(bool virtualDestructor) {
    return sizeof(Class) == 8 && alignof(Class) == 8 &&
           std::is_abstract_v<Class> &&
           std::has_virtual_destructor_v<Class> == virtualDestructor;
}

template <typename Class>
constexpr bool IsWithoutTable(std::size_t size) {
    return sizeof(Class) == size && alignof(Class) == 8 &&
           !std::is_polymorphic_v<Class>;
}

template <typename Class>
constexpr bool IsRecord(std::size_t size, std::size_t alignment) {
    return sizeof(Class) == size && alignof(Class) == alignment &&
           std::is_trivially_copyable_v<Class> &&
           std::is_standard_layout_v<Class>;
}

static_assert(IsObject<Novu::Base64>(8));
static_assert(IsObject<Novu::Bits>(8 + 8 + 8 + 8));
static_assert(IsObject<Novu::SerialBuffer>(8 + 8 + 8 + 8));

static_assert(IsInterface<Novu::Crypto>(/*virtualDestructor=*/true));
static_assert(IsObject<Novu::CryptoBlockCipherSeed>(8 + 32 * 4));
static_assert(IsObject<Novu::CryptoHashMd5>(8));
static_assert(IsRecord<Novu::CryptoHashMd5::MD5Digest_struct>(16, 1));
static_assert(IsRecord<Novu::Guid>(16, 1));

static_assert(IsRecord<Novu::SysTime>(18, 2));
static_assert(IsRecord<Novu::TimeZone>(4 + 64 + 20 + 4 + 64 + 20 + 4, 4));
static_assert(IsRecord<Novu::TimeZoneDisplay>(180 + 128, 4));

static_assert(IsObject<Novu::FileIo>(8 + 8 + 8 + 24));
static_assert(IsObject<Novu::FileFind>(8 + 8 + 8));
static_assert(IsObject<Novu::Shm>(8 + 4 + 4));

static_assert(IsObject<Novu::NovuSemaphore>(8 + 8));
static_assert(IsWithoutTable<Novu::NovuEvent>(4 + 4 + 8));
static_assert(IsWithoutTable<Novu::Cs>(64));
static_assert(IsObject<Novu::CsLocker>(8 + 8));
static_assert(IsWithoutTable<Novu::Mutex>(8 + 24));
static_assert(IsObject<Novu::MutexLocker>(8 + 8));
static_assert(IsWithoutTable<Novu::Event>(8 + 24));

static_assert(IsInterface<Novu::ThreadHandler>(/*virtualDestructor=*/false));
static_assert(IsObject<Novu::Thread>(8 + 5 * 8 + 4 + 4));
static_assert(IsObject<Novu::ThreadTaskPool>(56 + 8 + 64 + 32));

static_assert(IsInterface<Novu::Command>(/*virtualDestructor=*/true));
static_assert(IsObject<Novu::MacroCommand>(8 + 24));

static_assert(IsObject<Novu::XmlWriter>(8 + 8));
static_assert(IsObject<Novu::XmlReader>(8 + 8));

static_assert(IsObject<Novu::MemPool>(8));
static_assert(IsObject<Novu::Random>(8));
static_assert(IsObject<Novu::RegEx>(8));
static_assert(IsObject<Novu::TextFileIo>(8));

}  // namespace
