#ifndef BRENIK3_INTERNAL_SENDALL_H
#define BRENIK3_INTERNAL_SENDALL_H

#include <cstddef>

#include <sys/uio.h>

namespace brenik3 {

// Waits for the process-wide PDU lock as many milliseconds as a connection's
// time-out counts seconds (45 s of read time-out: 45 ms); true when obtained
// (release it with pduMutexRelease). The lock is held only around one send
// or receive call, and a failed receive keeps it by design, so a waiter must
// give up after a short while and go on without it, never for the time-out's
// full length in seconds, which would stall every other connection.
bool pduMutexWaitTimeoutAsMillis(unsigned int timeout);

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
