/* SPDX-License-Identifier: MIT
 * How a function or object becomes part of a library's interface: C linkage, default visibility. */
#ifndef ZV_API_H
#define ZV_API_H

/* Stands before everything that is exported. */
#define ZV_API __attribute__((visibility("default")))

/* Stand around the declarations of a header. */
#ifdef __cplusplus
#define ZV_BEGIN_DECLS extern "C" {
#define ZV_END_DECLS }
#else
#define ZV_BEGIN_DECLS
#define ZV_END_DECLS
#endif

#endif
