#pragma once

#include <rpc.h>

namespace brivelnox::native {

/// While it exists, UuidCreate returns the given status. With RPC_S_UUID_LOCAL_ONLY it makes an id all the
/// same; with a failure it makes none. One at a time.
class uuid_status {
  public:
    explicit uuid_status(RPC_STATUS status);
    ~uuid_status();
    uuid_status(const uuid_status&) = delete;
    uuid_status& operator=(const uuid_status&) = delete;
};

}  // namespace brivelnox::native
