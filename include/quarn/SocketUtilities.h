#pragma once

/// Free helpers on IPv4 socket descriptors.
///
///     try {
///         quarn::SocketUtilities::SetNagle(fd, false);
///     } catch (const quarn::MonitorException& e) {
///         // "[7] 10.0.0.1:5000: setsockopt for Nagle flag failed: ..."
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///     puts(quarn::SocketUtilities::DescribePeer(fd).c_str());  // "10.0.0.2:41234"
///
/// Stateless; a descriptor may be used by one thread at a time. Where a failure's text begins with Describe()
/// and that cannot be had either (the descriptor is no socket), what Describe() throws leaves instead.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stdint.h>
#include <sys/select.h>

#include <string>

namespace quarn::SocketUtilities {

/// Clears or sets the non-blocking flag. Throws MonitorException "%s: fcntl could not get file flags: %s" or
/// "%s: fcntl could not set file flags: %s".
QUARN_API void SetBlocking(int fd, bool blocking);

/// Switches Nagle's algorithm, which holds short segments back, by the opposite of the TCP no-delay option.
/// Throws MonitorException "%s: setsockopt for Nagle flag failed: %s".
QUARN_API void SetNagle(int fd, bool enable);

/// Has the system end a TCP connection whose peer was not heard of, or took nothing of what waits for it, for
/// `seconds`, at least 3: without a limit a peer that lost its power or its cable is never missed by a side
/// that only listens. Costs a packet each `seconds` / 3 of silence. Throws MonitorException "%s: setsockopt
/// for silence limit failed: %s".
QUARN_API void SetSilenceLimit(int fd, uint32_t seconds);

/// Whether a write would not block, decided without waiting. A socket whose connect has failed counts as
/// writable, as with select(): its pending error tells. False for a negative descriptor and when a signal
/// interrupts. Throws MonitorException "%s: poll failed: %s".
QUARN_API bool SocketWritable(int fd);

/// Throws MonitorException "getpeername failed: %s".
QUARN_API IPAddress GetPeerAddress(int fd);

/// "ADDRESS:PORT" of the peer; "nonexistent" for a negative descriptor; "disconnected" when the peer cannot
/// be read.
QUARN_API std::string DescribePeer(int fd);

/// "[FD] ADDRESS:PORT" with the local address, "[no socket]" for a negative descriptor. Throws
/// MonitorException "getsockname failed: %s".
QUARN_API std::string Describe(int fd);

/// Adds the descriptor to the set and, when `maxFd` is given, raises it to descriptor + 1, as select() wants
/// it; a negative descriptor changes nothing. Throws MonitorException "File descriptor %d does not fit an
/// fd_set (limit %d)" where the set would be written out of bounds; such descriptors need epoll or poll().
QUARN_API void SetDescriptorBit(int fd, fd_set* set, int* maxFd);

}  // namespace quarn::SocketUtilities
