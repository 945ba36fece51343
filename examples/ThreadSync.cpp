// ThreadSync: a lock for a scope, and an event that is waited for with a
// timeout.

#include <Bases/ThreadSync.h>

#include <iostream>
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
        return 1;  // Not created, or set although nobody did.
    }
    std::thread payer([&] {
        account.Pay(20);
        paid.Set();
    });
    const bool inTime = paid.Wait(30000) == 1;  // Half a minute at most.
    payer.join();
    std::cout << (inTime ? account.Balance() : -1) << '\n';
}

// Prints:
//   20
