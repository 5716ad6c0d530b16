/// @file
/// How the library's functions are declared.
#ifndef TAVOHACORE_EXPORT_H_
#define TAVOHACORE_EXPORT_H_

/// Visible outside the library. Everything else is hidden.
#define TAVOHA_EXPORT __attribute__((visibility("default")))

/// Lets the compiler check a format and its arguments, counted from 1.
#define TAVOHA_PRINTF(position, first) __attribute__((format(printf, position, first)))

/// Enumerations are held in an int, whatever value a caller passes.
#ifdef __cplusplus
#define TAVOHA_HELD_IN_INT : int
#else
#define TAVOHA_HELD_IN_INT
#endif

#endif  // TAVOHACORE_EXPORT_H_
