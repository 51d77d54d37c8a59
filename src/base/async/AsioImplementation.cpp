// Asio's own code is compiled once, here (ASIO_SEPARATE_COMPILATION).
#include <asio/impl/src.hpp>
