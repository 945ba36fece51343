// ThreadSync: a lock for a scope, an event that is waited for with a timeout,
// and a lock that processes share.

#include <Bases/ThreadSync.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>

namespace {

class Account {
public:
    void Pay(int amount) {
        const Novu::CsLocker locker(lock);  // Until the end of the scope.
        balance += amount;
    }

    int Balance() const {
        const Novu::CsLocker locker(lock);
        return balance;
    }

private:
    Novu::Cs lock;
    int balance = 0;  // Under lock.
};

}  // namespace

int main() {
    Account account;
    Novu::Event paid;
    if (paid.Create(1, 0, nullptr) != 1 || paid.Wait(10) != 0) {
        return 1;  // Nobody has set it: the wait was in vain.
    }
    std::thread payer([&] {
        account.Pay(20);
        paid.Set();
    });
    const bool inTime = paid.Wait(30000) == 1;  // Half a minute at most.
    payer.join();
    std::cout << (inTime ? account.Balance() : -1) << '\n';

    // With a name; one without does not open again.
    const std::string name = "/novu-example-" + std::to_string(getpid());
    Novu::Mutex mutex;
    if (mutex.Create(name.c_str()) != 1) {
        return 1;
    }
    const Novu::MutexLocker locker(mutex);
    return mutex.Lock(0) == 0 ? 0 : 1;  // Taken, by this very thread, too.
}

// Prints:
//   20
