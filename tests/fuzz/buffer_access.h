#pragma once

// What no operation of the link and its buffer shows: how much the buffer holds and where. An explicit
// instantiation may name private members.

#include "registry_service/receive_buffer.h"
#include "registry_service/tcp_link.h"

namespace brivelnox::fuzz {

/// The link's buffer.
receive_buffer& BufferOf(tcp_link& link);
/// The buffer's memory.
char* BytesOf(receive_buffer& buffer);

template <receive_buffer* const tcp_link::*Member>
struct link_buffer_access {
    friend receive_buffer& BufferOf(tcp_link& link) { return *(link.*Member); }
};
template struct link_buffer_access<&tcp_link::buffer_>;

template <char* receive_buffer::*Member>
struct buffer_bytes_access {
    friend char* BytesOf(receive_buffer& buffer) { return buffer.*Member; }
};
template struct buffer_bytes_access<&receive_buffer::bytes_>;

}  // namespace brivelnox::fuzz
