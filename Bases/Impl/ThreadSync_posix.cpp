// ThreadSync, from Bases/ThreadSync.h.

#include "Bases/ThreadSync.h"

#include <pthread.h>

#include "Bases/Impl/Timeouts.h"
#include "Bases/Sem.h"

namespace Novu {

// Cs

Cs::Cs() : mutex() {
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    ::pthread_mutex_init(&mutex, &attributes);
    // They are not destroyed: on neither system is there anything behind them.
}

Cs::~Cs() { ::pthread_mutex_destroy(&mutex); }

void Cs::Lock() const { ::pthread_mutex_lock(&mutex); }

void Cs::Unlock() const { ::pthread_mutex_unlock(&mutex); }

int Cs::TryLock() const { return ::pthread_mutex_trylock(&mutex) == 0 ? 1 : 0; }

// CsLocker

CsLocker::CsLocker(const Cs& toLock) : locked(&toLock) { locked->Lock(); }

CsLocker::~CsLocker() { locked->Unlock(); }

// Mutex

Mutex::Mutex() : semaphore(new NovuSemaphore) {}

Mutex::Mutex(const char* name) : Mutex() { Create(name); }

Mutex::~Mutex() { delete semaphore; }

int Mutex::Create(const char* name) {
    return semaphore->Create(NovuSemaphore::Signalled, name, 1);
}

int Mutex::Open(const char* name) {
    return semaphore->Create(NovuSemaphore::Signalled, name, 0);
}

int Mutex::Lock(unsigned int timeout) { return semaphore->Wait(timeout); }

void Mutex::Unlock() { semaphore->Post(); }

int Mutex::IsOpened() { return semaphore->IsCreated(); }

int Mutex::Close() { return semaphore->Destroy(); }

NovuSemaphore* Mutex::GetHandle() { return semaphore; }

// MutexLocker

MutexLocker::MutexLocker(Mutex& toLock) : locked(&toLock) {
    locked->GetHandle()->Wait(kNoLimit);
}

MutexLocker::~MutexLocker() { locked->GetHandle()->Post(); }

// Event

Event::Event() : event(new NovuEvent) {}

Event::~Event() { delete event; }

int Event::Create(int manualReset, int initialState, const char* name) {
    return event->Create(manualReset, initialState, name);
}

int Event::Open(const char* name) { return event->Open(name); }

int Event::IsOpened() { return event->IsOpened(); }

int Event::Set() { return event->Set(); }

int Event::Reset() { return event->Reset(); }

int Event::Wait(unsigned int timeout) { return event->Wait(timeout); }

void Event::Close() { event->Close(); }

NovuEvent* Event::GetHandle() { return event; }

}  // namespace Novu
