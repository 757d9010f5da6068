#ifndef BRENIK3_INTERNAL_SENDALL_H
#define BRENIK3_INTERNAL_SENDALL_H

#include <cstddef>

#include <sys/uio.h>

namespace brenik3 {

// Waits at most the given seconds for the process-wide PDU lock; true when
// obtained (release it with pduMutexRelease). The exported wait counts
// milliseconds; the time-outs of a connection are in seconds.
bool pduMutexWaitSeconds(unsigned int seconds);

// Sends every byte of the pieces on the socket, going on after short sends.
// Each send call runs under the PDU lock and never blocks; a full socket is
// waited for without the lock, at most writeTimeoutSeconds each time. The
// pieces are consumed (advanced) as they go. False when the connection
// fails or stays full for the whole wait.
bool sendAll(int sock, struct iovec* iov, int count, unsigned int writeTimeoutSeconds);

// The same for one block of bytes.
bool sendAll(int sock, const void* data, size_t len, unsigned int writeTimeoutSeconds);

}

#endif
