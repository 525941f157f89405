// What Boost.Asio's headers declare when they are told that its code stands in a library.
#include <boost/asio/impl/src.hpp>
#include <boost/asio/ssl/impl/src.hpp>
