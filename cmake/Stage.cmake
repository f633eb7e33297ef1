# vel_stage(<target> [<subfolder>]): puts a target of the product into the
# staging folder as it is installed; its symbols go to build/symbols beside it.
# The global property VEL_STAGE_STAMPS lists the files that tell of a change.
set(VEL_STAGE_DIR ${CMAKE_BINARY_DIR}/stage CACHE PATH "Where the product is staged")
find_program(VEL_OBJCOPY NAMES x86_64-w64-mingw32-objcopy objcopy REQUIRED)
add_custom_target(stage ALL)

function(vel_stage target)
  set(dir ${VEL_STAGE_DIR}/${ARGV1})
  set(symbols ${CMAKE_BINARY_DIR}/symbols/${target}.debug)
  set(stamp ${CMAKE_BINARY_DIR}/stage-${target}.stamp)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir} ${CMAKE_BINARY_DIR}/symbols
    COMMAND ${VEL_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
    COMMAND ${VEL_OBJCOPY} --strip-debug --strip-unneeded
            --add-gnu-debuglink=${symbols}
            $<TARGET_FILE:${target}> ${dir}/$<TARGET_FILE_NAME:${target}>
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${target} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY VEL_STAGE_STAMPS ${stamp})
  add_custom_target(stage_${target} DEPENDS ${stamp})
  add_dependencies(stage stage_${target})
endfunction()

# vel_stage_file(<file> [<subfolder>]): the same for a data file.
function(vel_stage_file file)
  get_filename_component(name ${file} NAME)
  set(dir ${VEL_STAGE_DIR}/${ARGV1})
  set(stamp ${CMAKE_BINARY_DIR}/stage-${name}.stamp)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
    COMMAND ${CMAKE_COMMAND} -E copy ${file} ${dir}/${name}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${file} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY VEL_STAGE_STAMPS ${stamp})
  add_custom_target(stage_${name} DEPENDS ${stamp})
  add_dependencies(stage stage_${name})
endfunction()
