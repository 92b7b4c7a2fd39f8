#pragma once

// What no operation of the link shows, for the few tests that have to bring about what otherwise happens once
// in a thousand days. An explicit instantiation may name private members.

#include <memory>

#include "platform/locks.h"
#include "platform/unique_handle.h"
#include "registry_service/link_connection.h"
#include "registry_service/tcp_link.h"

namespace brivelnox::test {

using link_connection_ptr = std::shared_ptr<link_connection>;

/// The link's current connection.
link_connection_ptr& CurrentConnectionOf(tcp_link& link);
/// The connection's socket.
unique_socket& SocketOf(link_connection& connection);
/// What a failed receive does on the reader of this connection, whether it is still the link's or no more.
void CloseConnectionOf(tcp_link& link, const link_connection_ptr& connection);

template <link_connection_ptr tcp_link::*Member>
struct link_connection_access {
    friend link_connection_ptr& CurrentConnectionOf(tcp_link& link) { return link.*Member; }
};
template struct link_connection_access<&tcp_link::connection_>;

template <unique_socket link_connection::*Member>
struct connection_socket_access {
    friend unique_socket& SocketOf(link_connection& connection) { return connection.*Member; }
};
template struct connection_socket_access<&link_connection::socket_>;

template <class Signature, Signature Member>
struct close_connection_access;
template <class Wait, void (tcp_link::*Member)(const link_connection_ptr&, Wait)>
struct close_connection_access<void (tcp_link::*)(const link_connection_ptr&, Wait), Member> {
    friend void CloseConnectionOf(tcp_link& link, const link_connection_ptr& connection) {
        (link.*Member)(connection, Wait::none);
    }
};
template struct close_connection_access<decltype(&tcp_link::CloseConnection), &tcp_link::CloseConnection>;

}  // namespace brivelnox::test
