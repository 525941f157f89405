# All dependencies are Debian packages; scripts/deps installs them.
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(OpenSSL 3 REQUIRED)
find_package(Protobuf REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(fmt REQUIRED)
find_package(valijson REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(uuid REQUIRED IMPORTED_TARGET uuid)
pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)

# The tool is one file that runs on any machine of the farm: all but glibc is linked statically, where the
# build is one of static libraries. Sanitizers bring their own runtime.
find_library(UUID_STATIC libuuid.a REQUIRED)
find_library(SSL_STATIC libssl.a REQUIRED)
find_library(CRYPTO_STATIC libcrypto.a REQUIRED)
find_library(PROTOBUF_STATIC libprotobuf-lite.a REQUIRED)

# OpenSSL in the way in which the program that links it wants it.
add_library(brenic_openssl INTERFACE)
target_link_libraries(brenic_openssl INTERFACE
  "$<IF:$<BOOL:$<TARGET_PROPERTY:BRENIC_SELF_CONTAINED>>,${SSL_STATIC};${CRYPTO_STATIC},OpenSSL::SSL;OpenSSL::Crypto>")
target_include_directories(brenic_openssl INTERFACE ${OPENSSL_INCLUDE_DIR})

function(link_self_contained target)
  if(NOT BUILD_SHARED_LIBS)
    set_target_properties(${target} PROPERTIES BRENIC_SELF_CONTAINED ON)
    if(NOT BRENIC_SANITIZE)
      target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
  endif()
endfunction()

# Boost.Asio's code that is no template is compiled here, once, and not in every source that includes it. Its timers
# are those of the standard library's clocks.
add_library(brenic_asio STATIC ${CMAKE_CURRENT_LIST_DIR}/Asio.cpp)
target_compile_definitions(brenic_asio PUBLIC BOOST_ASIO_SEPARATE_COMPILATION BOOST_ASIO_DISABLE_BOOST_DATE_TIME)
target_link_libraries(brenic_asio PUBLIC Boost::boost brenic_openssl Threads::Threads)

# Debian has no static libfmt: the part of it that is not in its headers is compiled here, once.
add_library(brenic_fmt STATIC ${CMAKE_CURRENT_LIST_DIR}/Fmt.cpp)
target_include_directories(brenic_fmt PUBLIC $<TARGET_PROPERTY:fmt::fmt,INTERFACE_INCLUDE_DIRECTORIES>)

if(BUILD_SHARED_LIBS)
  set(BRENIC_UUID PkgConfig::uuid)
  set(BRENIC_PROTOBUF protobuf::libprotobuf-lite)
else()
  set(BRENIC_UUID ${UUID_STATIC})
  set(BRENIC_PROTOBUF ${PROTOBUF_STATIC})
endif()

if(BRENIC_TESTS)
  find_package(GTest REQUIRED)
endif()
