# vel_flags: what every target of the product, its tests and its benchmarks is
# compiled and linked with.
add_library(vel_flags INTERFACE)
target_compile_features(vel_flags INTERFACE cxx_std_20)
target_compile_definitions(vel_flags INTERFACE
  UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
  WINVER=0x0601 _WIN32_WINNT=0x0601)
target_compile_options(vel_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wconversion;-Wshadow;-Wnull-dereference;-Wduplicated-cond;-Wlogical-op;-Wimplicit-fallthrough;-Werror>
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Debug>>:-fsanitize=undefined;-fsanitize-undefined-trap-on-error;-D_GLIBCXX_ASSERTIONS;-O1>)
target_link_options(vel_flags INTERFACE
  -static -municode -Wl,--no-insert-timestamp)
