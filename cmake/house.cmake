# cc_room(<target> FOLDER <folder> SOURCES <file>... [USES <target>...])
#
# One library for one floor (or room) of the house. Its folder is put into a view of its own, a folder that holds
# nothing but a link to it, and only targets that link the room get that view on their include path: an include of a
# room that the target does not use does not compile. Includes are written from the project root in any case.
function(cc_room name)
  cmake_parse_arguments(ARG "" "FOLDER" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  set(view ${CMAKE_BINARY_DIR}/floors/${name})
  get_filename_component(parent ${view}/${ARG_FOLDER} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${ARG_FOLDER} ${view}/${ARG_FOLDER} SYMBOLIC)
  target_include_directories(${name} PUBLIC ${view})
  # Log lines and messages name files from the project root, whatever view they were seen through.
  file(RELATIVE_PATH viewFromBuild ${CMAKE_BINARY_DIR} ${view})
  target_compile_options(${name} PUBLIC -fmacro-prefix-map=${view}/= -fmacro-prefix-map=${viewFromBuild}/=)
  target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE project_options)
endfunction()
