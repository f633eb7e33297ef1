# Only kernel32, user32 and advapi32 (and the C runtime) are bound when the
# program starts. Every other system library is bound at its first call,
# through the import stubs made here from cmake/delay/<dll>.def. A function
# that is missing from its .def file would be bound at the start instead; the
# import test of the staged program catches that.
find_program(VEL_DLLTOOL NAMES x86_64-w64-mingw32-dlltool dlltool REQUIRED)

add_library(vel_delay INTERFACE)
file(GLOB _vel_delay_defs CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/delay/*.def)
foreach(_def IN LISTS _vel_delay_defs)
  get_filename_component(_name ${_def} NAME_WE)
  set(_lib ${CMAKE_BINARY_DIR}/delay/lib${_name}_delay.a)
  add_custom_command(OUTPUT ${_lib}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/delay
    COMMAND ${VEL_DLLTOOL} -d ${_def} -y ${_lib}
    DEPENDS ${_def} VERBATIM)
  list(APPEND _vel_delay_libs ${_lib})
endforeach()
add_custom_target(vel_delay_libs DEPENDS ${_vel_delay_libs})
add_dependencies(vel_delay vel_delay_libs)
target_link_libraries(vel_delay INTERFACE ${_vel_delay_libs} delayimp)
