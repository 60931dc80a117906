# Options that every target of ours is compiled with. Generated code takes them too, less the warnings.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Wcast-align -Wimplicit-fallthrough -Wformat=2)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_options INTERFACE -Wthread-safety)
endif()

# Log lines and messages name files from the project root, also where the launcher below made the path a relative one.
file(RELATIVE_PATH rootFromBuild ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/= -fmacro-prefix-map=${rootFromBuild}=)
# The board's compiler takes char as unsigned; a build for the desk must not hide that.
add_compile_options(-funsigned-char)
# 32-bit boards have 64-bit times and offsets, as musl has always had.
add_compile_definitions(_FILE_OFFSET_BITS=64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_TIME_BITS=64)
endif()

if(CURRENTCONTROL_SANITIZE)
  add_compile_options(-fsanitize=${CURRENTCONTROL_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CURRENTCONTROL_SANITIZE})
  if(CURRENTCONTROL_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

find_program(CCACHE ccache)
if(CCACHE)
  # What one clone has compiled serves every other: paths are relative to the build folder, in debug information too.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} ${CCACHE})
  add_compile_options(-fdebug-prefix-map=${CMAKE_BINARY_DIR}=.)
endif()
