# The wrapping key of the log: an RSA public key of 512 bits with the exponent
# 65537. Its public half is compiled in from generated/LogKey.h; the private
# half belongs to whoever reads the logs and is never part of the product.
set(VEL_LOG_PUBLIC_KEY "" CACHE FILEPATH
  "Public key (PEM) that the log's stream keys are wrapped with; empty: a pair made here")
find_program(VEL_OPENSSL openssl REQUIRED)

set(_public_key ${VEL_LOG_PUBLIC_KEY})
if(NOT _public_key)
  # One pair for all builds of the tree, so that one key reads all their logs.
  set(_pair_dir ${CMAKE_SOURCE_DIR}/build/log-key)
  set(_public_key ${_pair_dir}/public.pem)
  if(NOT EXISTS ${_public_key})
    file(MAKE_DIRECTORY ${_pair_dir})
    execute_process(COMMAND ${VEL_OPENSSL} genrsa -out ${_pair_dir}/private.pem 512
      ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
    execute_process(
      COMMAND ${VEL_OPENSSL} rsa -in ${_pair_dir}/private.pem -pubout -out ${_public_key}
      ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
    message(STATUS "Made the log's key pair in ${_pair_dir}")
  endif()
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_public_key})

execute_process(COMMAND ${VEL_OPENSSL} rsa -pubin -in ${_public_key} -noout -modulus -text
  OUTPUT_VARIABLE _key ERROR_VARIABLE _error RESULT_VARIABLE _result)
if(NOT _result EQUAL 0 OR NOT _key MATCHES "Modulus=([0-9A-F]+)")
  message(FATAL_ERROR "${_public_key} is no RSA public key: ${_error}")
endif()
set(_modulus ${CMAKE_MATCH_1})
string(LENGTH ${_modulus} _digits)
if(NOT _digits EQUAL 128 OR NOT _modulus MATCHES "^[89A-F]" OR
   NOT _key MATCHES "Exponent: 65537 ")
  message(FATAL_ERROR "${_public_key}: the log needs 512 bits and the exponent 65537")
endif()
string(REGEX REPLACE "(..)" "0x\\1," VEL_LOG_MODULUS ${_modulus})
configure_file(${CMAKE_SOURCE_DIR}/cmake/LogKey.h.in
               ${CMAKE_BINARY_DIR}/generated/LogKey.h @ONLY)
