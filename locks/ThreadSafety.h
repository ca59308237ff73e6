// SPDX-License-Identifier: MIT

#pragma once

/// Declarations for clang's thread-safety analysis: which lock guards which data, and which locks
/// an operation takes or needs. tools/check-tidy runs the analysis. For other compilers they are
/// empty.

#if defined(__clang__)
#define TAVRO_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define TAVRO_ATTRIBUTE(attribute)
#endif

// Types: a lock, and an object that holds one during its life.
#define TAVRO_LOCKABLE TAVRO_ATTRIBUTE(capability("mutex"))
#define TAVRO_SCOPED_LOCK TAVRO_ATTRIBUTE(scoped_lockable)

// Data that is accessed, or that a pointer leads to, with the lock held only.
#define TAVRO_GUARDED_BY(lock) TAVRO_ATTRIBUTE(guarded_by(lock))
#define TAVRO_TARGET_GUARDED_BY(lock) TAVRO_ATTRIBUTE(pt_guarded_by(lock))

// A lock that a thread takes before the others, if it takes both.
#define TAVRO_BEFORE(...) TAVRO_ATTRIBUTE(acquired_before(__VA_ARGS__))

// Operations: the caller holds the locks, or must not hold them; the operation takes or releases
// them, returns one, or knows that the calling thread holds them.
#define TAVRO_REQUIRES(...) TAVRO_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TAVRO_EXCLUDES(...) TAVRO_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define TAVRO_ACQUIRE(...) TAVRO_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TAVRO_RELEASE(...) TAVRO_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TAVRO_RETURNS_LOCK(lock) TAVRO_ATTRIBUTE(lock_returned(lock))
#define TAVRO_ASSERTS_HELD(...) TAVRO_ATTRIBUTE(assert_capability(__VA_ARGS__))

// An operation that the analysis cannot follow. Each use says why.
#define TAVRO_NO_ANALYSIS TAVRO_ATTRIBUTE(no_thread_safety_analysis)
