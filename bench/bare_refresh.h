/* The PC/SC calls of one refresh of the reader list, in the same order, in plain C and without anything around them. */
#ifndef LUMOADMIN_BENCH_BARE_REFRESH_H
#define LUMOADMIN_BENCH_BARE_REFRESH_H

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the number of readers that the service listed, 0 if it could not be asked. */
int bare_refresh(void);

#ifdef __cplusplus
}
#endif

#endif
