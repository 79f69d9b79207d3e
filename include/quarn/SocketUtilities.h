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

#include <quarn/IPAddress.h>

#include <sys/select.h>

#include <string>

namespace quarn::SocketUtilities {

/// Clears or sets the non-blocking flag. Throws MonitorException "%s: fcntl could not get file flags: %s" or
/// "%s: fcntl could not set file flags: %s".
void SetBlocking(int fd, bool blocking);

/// Switches Nagle's algorithm, which holds short segments back, by the opposite of the TCP no-delay option.
/// Throws MonitorException "%s: setsockopt for Nagle flag failed: %s".
void SetNagle(int fd, bool enable);

/// Whether a write would not block, decided without waiting. A socket whose connect has failed counts as
/// writable, as with select(): its pending error tells. False for a negative descriptor and when a signal
/// interrupts. Throws MonitorException "%s: poll failed: %s".
bool SocketWritable(int fd);

/// Throws MonitorException "getpeername failed: %s".
IPAddress GetPeerAddress(int fd);

/// "ADDRESS:PORT" of the peer; "nonexistent" for a negative descriptor; "disconnected" when the peer cannot
/// be read.
std::string DescribePeer(int fd);

/// "[FD] ADDRESS:PORT" with the local address, "[no socket]" for a negative descriptor. Throws
/// MonitorException "getsockname failed: %s".
std::string Describe(int fd);

/// Adds the descriptor to the set and, when `maxFd` is given, raises it to descriptor + 1, as select() wants
/// it; a negative descriptor changes nothing. Throws MonitorException "File descriptor %d does not fit an
/// fd_set (limit %d)" where the set would be written out of bounds; such descriptors need epoll or poll().
void SetDescriptorBit(int fd, fd_set* set, int* maxFd);

}  // namespace quarn::SocketUtilities
