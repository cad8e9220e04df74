# add_manual(PROGRAM): the man page and the completions of a program, from what its --help prints.
# Nothing where the program can't be run.
include(GNUInstallDirs)
set(VELA_MANUAL_SCRIPT ${PROJECT_SOURCE_DIR}/scripts/manual.py)

function(add_manual program)
  if(CMAKE_CROSSCOMPILING)
    return()
  endif()
  if(NOT Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
    set(Python3_EXECUTABLE /usr/bin/python3)
  endif()
  find_package(Python3 QUIET COMPONENTS Interpreter)
  if(NOT Python3_FOUND)
    message(STATUS "the man page of ${program} is left out: python3 is not installed")
    return()
  endif()
  set(folder ${PROJECT_BINARY_DIR}/manual)
  set(made ${folder}/${program}.1 ${folder}/${program}.1.gz ${folder}/${program}.bash
    ${folder}/_${program})
  add_custom_command(
    OUTPUT ${made}
    COMMAND ${Python3_EXECUTABLE} -B ${VELA_MANUAL_SCRIPT}
      $<TARGET_FILE:${program}> ${PROJECT_VERSION} ${folder}
    DEPENDS ${program} ${VELA_MANUAL_SCRIPT}
    VERBATIM)
  add_custom_target(${program}_manual ALL DEPENDS ${made})
  install(FILES ${folder}/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${folder}/${program}.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  # zsh looks into the first folder below /usr/local, Debian's zsh into the second below /usr.
  foreach(place site-functions vendor-completions)
    install(FILES ${folder}/_${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${place})
  endforeach()
endfunction()

foreach(program velahost velainspect)
  if(TARGET ${program})
    add_manual(${program})
  endif()
endforeach()
