# One data-driven runner for the programs' own tests: each case file runs the program once and
# compares its output, files and exit status with the case's literal text (see
# tests/cases/README.md for the case file format).
#
#   add_program_cases(PREFIX <test name prefix> PROGRAM <path> CASES <folder>
#                     [VARS NAME=VALUE ...] [DEPENDS <target> ...] [PROPERTIES <ctest property> ...])
#
# Registers one CTest test "<prefix>.<case>" per <folder>/*.case.
if(NOT TARGET program_case_runner)
  add_executable(program_case_runner ${CMAKE_CURRENT_LIST_DIR}/ProgramCaseRunner.cpp
    ${CMAKE_CURRENT_LIST_DIR}/CaseFile.cpp)
  target_link_libraries(program_case_runner PRIVATE federateutil_test_headers federateutil_build_flags)
endif()

function(add_program_cases)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "PREFIX;PROGRAM;CASES" "VARS;DEPENDS;PROPERTIES")
  set(vars)
  foreach(var IN LISTS ARG_VARS)
    list(APPEND vars --var ${var})
  endforeach()
  file(GLOB cases CONFIGURE_DEPENDS ${ARG_CASES}/*.case)
  foreach(case IN LISTS cases)
    get_filename_component(name ${case} NAME_WE)
    add_test(NAME ${ARG_PREFIX}.${name}
      COMMAND program_case_runner --program ${ARG_PROGRAM} --case ${case} ${vars})
    if(ARG_PROPERTIES)
      set_tests_properties(${ARG_PREFIX}.${name} PROPERTIES ${ARG_PROPERTIES})
    endif()
    # "<label>NAME</label>" in a case adds a CTest label, such as "slow" for a time-out.
    file(STRINGS ${case} labels REGEX "^<label>.*</label>$")
    list(TRANSFORM labels REPLACE "^<label>(.*)</label>$" "\\1")
    if(labels)
      set_property(TEST ${ARG_PREFIX}.${name} APPEND PROPERTY LABELS ${labels})
    endif()
  endforeach()
  if(ARG_DEPENDS)
    add_dependencies(program_case_runner ${ARG_DEPENDS})
  endif()
endfunction()
