# add_wince_dll(NAME EXPORTS function ... SOURCES file ... LIBRARIES target ...)
# add_wince_program(NAME ENTRY function DESCRIPTION text SOURCES file ...)
# A DLL or a program for the device: NAME.dll or NAME.exe in the current binary folder. The objects
# are linked at two bases; the converter makes the file of the first link and checks its relocations
# with the second.
include(${PROJECT_SOURCE_DIR}/cmake/python.cmake)

set(VELA_WINCE_CONVERTER ${PROJECT_SOURCE_DIR}/scripts/wince/elf_to_pe.py)

function(add_wince_dll name)
  cmake_parse_arguments(dll "" "" "EXPORTS;SOURCES;LIBRARIES" ${ARGN})
  add_library(${name}_objects OBJECT ${dll_SOURCES})
  target_link_libraries(${name}_objects PRIVATE project_flags plugin_flags ${dll_LIBRARIES})
  list(TRANSFORM dll_EXPORTS PREPEND "--export=" OUTPUT_VARIABLE exports)
  list(TRANSFORM dll_EXPORTS PREPEND "-Wl,--undefined=" OUTPUT_VARIABLE kept)
  add_wince_image(${name} FILE ${name}.dll BASES 0x10000000 0x22340000
    LIBRARIES ${dll_LIBRARIES}
    LINK -Wl,--entry=libraryEntry ${kept} CONVERT ${exports})
endfunction()

function(add_wince_program name)
  cmake_parse_arguments(program "" "ENTRY;DESCRIPTION" "SOURCES" ${ARGN})
  add_library(${name}_objects OBJECT ${program_SOURCES})
  target_link_libraries(${name}_objects PRIVATE project_flags plugin_flags)
  target_compile_options(${name}_objects PRIVATE -fno-exceptions)
  add_wince_image(${name} FILE ${name}.exe BASES 0x00010000 0x22340000
    LINK -Wl,--entry=${program_ENTRY}
    CONVERT --program --description ${program_DESCRIPTION})
endfunction()

function(add_wince_image name)
  cmake_parse_arguments(image "" "FILE" "BASES;LIBRARIES;LINK;CONVERT" ${ARGN})
  set(script ${PROJECT_SOURCE_DIR}/platform/wince/image.ld)
  set(links)
  foreach(base ${image_BASES})
    set(link ${name}_at_${base})
    add_executable(${link}
      $<TARGET_OBJECTS:${name}_objects> $<TARGET_OBJECTS:wince_runtime>
      $<TARGET_OBJECTS:wince_imports>)
    set_target_properties(${link} PROPERTIES SUFFIX .elf LINK_DEPENDS ${script})
    # The base stands before the script, which uses it; after the script it is ignored. The
    # instruction set on the link command makes the linker replace every BX of the compiler's
    # libraries, which the device does not have.
    target_link_options(${link} PRIVATE
      -march=armv4 -marm -mfloat-abi=soft -nostartfiles -nostdlib
      -Wl,--emit-relocs -Wl,--gc-sections -Wl,--defsym=image_base=${base} -Wl,-T,${script}
      -Wl,-Map=$<TARGET_FILE:${link}>.map ${image_LINK})
    target_link_libraries(${link} PRIVATE ${image_LIBRARIES}
      -Wl,--start-group -lstdc++ -lgcc -lc -lm -Wl,--end-group)
    list(APPEND links ${link})
  endforeach()
  list(GET links 0 first)
  list(GET links 1 second)

  set(output ${CMAKE_CURRENT_BINARY_DIR}/${image_FILE})
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${Python3_EXECUTABLE} -B ${VELA_WINCE_CONVERTER} $<TARGET_FILE:${first}> ${output}
      --name ${image_FILE} --version ${PROJECT_VERSION} ${image_CONVERT}
      --second-base $<TARGET_FILE:${second}>
    DEPENDS ${links} ${VELA_WINCE_CONVERTER}
      ${PROJECT_SOURCE_DIR}/scripts/wince/elf_image.py
      ${PROJECT_SOURCE_DIR}/scripts/wince/version_resource.py
    COMMENT "Converting ${image_FILE}"
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS ${output})
endfunction()
