// Interrupt: SIGINT (Ctrl-C), SIGTERM and SIGHUP (a terminal that is closed),
// which stop a verb where it can stop.
//
// Once caught, a signal only sets a flag. Whatever may work for long looks at
// it and ends by a Failure, so that destructors tidy up; in the end the program
// dies of the signal all the same, as a shell expects.

#ifndef INVENTORY_INTERRUPT_H_
#define INVENTORY_INTERRUPT_H_

namespace Inventory {

/// From now on the signals set the flag. One that is ignored, as for a program
/// in the background or behind nohup, stays ignored. A call of the system that
/// waits is ended by them (EINTR).
void CatchInterrupts();

/// From now on they end the program at once, as they did before: there is
/// nothing to tidy up, and output may wait for its reader. Throws Failure where
/// the flag is set.
void ReleaseInterrupts();

bool IsInterrupted();

/// Throws Failure where the flag is set.
void StopIfInterrupted();

/// Ends the program by the signal that set the flag; does nothing without one.
void DieIfInterrupted();

}  // namespace Inventory

#endif  // INVENTORY_INTERRUPT_H_
