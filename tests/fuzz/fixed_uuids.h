#pragma once

namespace brivelnox::fuzz {

/// The next id is the first again.
void StartUuidsAnew();

}  // namespace brivelnox::fuzz
