// Export: the one macro that marks a name as part of the interface.

#ifndef NOVU_BASES_EXPORT_H_
#define NOVU_BASES_EXPORT_H_

/// Stands on every public class and function. The library is compiled with
/// hidden visibility, so a name without it cannot be linked against.
#define NOVU_API __attribute__((visibility("default")))

#endif  // NOVU_BASES_EXPORT_H_
