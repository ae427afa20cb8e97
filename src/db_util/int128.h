// 128-bit integers, which exact arithmetic on Decimals and 64-bit integers needs in between.
#pragma once

namespace db_util {

__extension__ typedef __int128 int128;
__extension__ typedef unsigned __int128 uint128;

}  // namespace db_util
