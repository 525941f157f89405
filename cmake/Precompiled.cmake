# Headers of the system and of libraries that many sources include, compiled once for all targets of a kind:
#   base   the standard library, Boost's shared_ptr, fmt
#   net    the same with Boost.Asio, TLS and protobuf's runtime
#   test   base for programs, with GoogleTest and GoogleMock
# None is the project's own, so that a change recompiles only what includes it. A source still includes what it uses:
# -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON, as in the preset `shared`, compiles without.
set(PRECOMPILED_BASE
  <algorithm> <array> <atomic> <cerrno> <chrono> <condition_variable> <csignal> <cstdint> <cstdlib> <cstring> <deque>
  <fstream> <functional> <list> <map> <memory> <mutex> <optional> <set> <sstream> <stdexcept> <string> <string_view>
  <thread> <unordered_map> <unordered_set> <utility> <variant> <vector>
  <boost/make_shared.hpp> <boost/shared_ptr.hpp> <fmt/core.h>)
set(PRECOMPILED_NET ${PRECOMPILED_BASE}
  <boost/asio/buffer.hpp> <boost/asio/connect.hpp> <boost/asio/executor_work_guard.hpp> <boost/asio/io_context.hpp>
  <boost/asio/ip/tcp.hpp> <boost/asio/local/stream_protocol.hpp> <boost/asio/post.hpp> <boost/asio/signal_set.hpp>
  <boost/asio/ssl.hpp> <boost/asio/steady_timer.hpp> <boost/asio/write.hpp>
  <google/protobuf/arena.h> <google/protobuf/extension_set.h> <google/protobuf/generated_enum_util.h>
  <google/protobuf/generated_message_util.h> <google/protobuf/map.h> <google/protobuf/map_entry_lite.h>
  <google/protobuf/map_field_lite.h> <google/protobuf/message_lite.h> <google/protobuf/repeated_field.h>)
set(PRECOMPILED_TEST ${PRECOMPILED_BASE} <gmock/gmock.h> <gtest/gtest.h>)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-fpch-preprocess) # so that ccache sees them
elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()

# What the targets of a kind share; it has no code of its own.
function(add_precompiled kind)
  add_library(precompiled_${kind} OBJECT ${PROJECT_SOURCE_DIR}/cmake/Precompiled.cpp)
  target_link_libraries(precompiled_${kind} PRIVATE ${ARGN})
  string(TOUPPER ${kind} headers)
  target_precompile_headers(precompiled_${kind} PRIVATE ${PRECOMPILED_${headers}})
endfunction()

# Lets `target` use those of `kind`. Programs and libraries are compiled for different positions and share none.
function(use_precompiled target kind)
  target_precompile_headers(${target} REUSE_FROM precompiled_${kind})
endfunction()

add_precompiled(base brenic_fmt)
target_include_directories(precompiled_base PRIVATE ${Boost_INCLUDE_DIRS}) # alone: a definition would bind the users
add_precompiled(net Boost::boost brenic_fmt brenic_asio)
if(BRENIC_TESTS)
  add_precompiled(test brenic_fmt GTest::gmock)
  target_include_directories(precompiled_test PRIVATE ${Boost_INCLUDE_DIRS})
  set_target_properties(precompiled_test PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(precompiled_test PRIVATE ${CMAKE_CXX_COMPILE_OPTIONS_PIE})
endif()
