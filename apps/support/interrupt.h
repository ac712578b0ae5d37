// Interrupts (Ctrl-C, SIGTERM) that are noted, and seen between frames, instead of ending the program
// within one.
#ifndef TN_KITS_APPS_SUPPORT_INTERRUPT_H_
#define TN_KITS_APPS_SUPPORT_INTERRUPT_H_

namespace tarnkit {

// From now on the first SIGINT or SIGTERM is only noted; a second one ends the program at once.
void catchInterrupts();

// The signal noted, 0 if none came.
int interruptSignal();

// What the program exits with after its work: 0, or 128 + the signal noted, as shells have it.
int exitStatus();

// Makes writing to a closed pipe or past a limit on file sizes an error of the write, which can be
// reported, instead of a signal that ends the program.
void turnWriteSignalsIntoErrors();

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_INTERRUPT_H_
