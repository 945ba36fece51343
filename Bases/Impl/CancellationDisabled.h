// CancellationDisabled (private): keeps the thread that it is in from being
// cancelled. For destructors that wait or close: a thread that is unwound from
// one ends the process.

#ifndef NOVU_BASES_IMPL_CANCELLATIONDISABLED_H_
#define NOVU_BASES_IMPL_CANCELLATIONDISABLED_H_

#include <pthread.h>

namespace Novu {

class CancellationDisabled {
public:
    CancellationDisabled() {
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;
    ~CancellationDisabled() {
        int during = 0;
        ::pthread_setcancelstate(before, &during);
    }

private:
    int before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_CANCELLATIONDISABLED_H_
