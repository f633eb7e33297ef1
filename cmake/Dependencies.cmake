# vel_dependency(<library> <variable>): sets <variable> to the folder (include/
# and lib/) of a library that the cross toolchain lacks. It is built from its
# Debian source by cmake/build-dependency.sh unless the variable names one. A
# folder that has gone, since somebody has emptied the cache, is built again.
function(vel_dependency library variable)
  set(dir "${${variable}}")
  if(dir AND NOT dir STREQUAL "${${variable}_BUILT}" AND NOT EXISTS ${dir}/lib)
    message(FATAL_ERROR "${variable}: there is no ${dir}/lib")
  endif()
  if(NOT dir OR NOT EXISTS ${dir}/lib)
    message(STATUS "Looking for ${library}")
    execute_process(COMMAND ${CMAKE_SOURCE_DIR}/cmake/build-dependency.sh ${library}
      OUTPUT_VARIABLE dir OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(${variable} ${dir} CACHE PATH "${library}: include/ and lib/" FORCE)
    set(${variable}_BUILT ${dir} CACHE INTERNAL "What was built for ${variable}")
  endif()
endfunction()

# vel_crypto: OpenSSL's libcrypto, linked statically.
if(CMAKE_CROSSCOMPILING)
  vel_dependency(openssl VEL_OPENSSL_DIR)
  add_library(vel_crypto INTERFACE)
  target_include_directories(vel_crypto SYSTEM INTERFACE ${VEL_OPENSSL_DIR}/include)
  target_link_libraries(vel_crypto INTERFACE ${VEL_OPENSSL_DIR}/lib/libcrypto.a)
else()
  set(OPENSSL_USE_STATIC_LIBS ON)
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
  add_library(vel_crypto ALIAS OpenSSL::Crypto)
endif()

# vel_pcre: the regular expressions of PCRE 8, linked statically.
add_library(vel_pcre INTERFACE)
target_compile_definitions(vel_pcre INTERFACE PCRE_STATIC)
if(CMAKE_CROSSCOMPILING)
  vel_dependency(pcre3 VEL_PCRE_DIR)
  target_include_directories(vel_pcre SYSTEM INTERFACE ${VEL_PCRE_DIR}/include)
  target_link_libraries(vel_pcre INTERFACE ${VEL_PCRE_DIR}/lib/libpcre.a)
else()
  find_path(VEL_PCRE_INCLUDE pcre.h REQUIRED)
  find_library(VEL_PCRE_LIBRARY NAMES libpcre.a REQUIRED)
  target_include_directories(vel_pcre SYSTEM INTERFACE ${VEL_PCRE_INCLUDE})
  target_link_libraries(vel_pcre INTERFACE ${VEL_PCRE_LIBRARY})
endif()
