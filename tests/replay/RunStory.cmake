# cmake -DCOMMAND=nexthop-replay -DREPLAY=NAME.replay -DOUTPUT=FILE -P RunStory.cmake
#
# Runs a story twice and compares both outputs, byte by byte, with what is expected.

cmake_path(REPLACE_EXTENSION REPLAY LAST_ONLY .expected OUTPUT_VARIABLE expected)
file(STRINGS ${REPLAY} story LIMIT_COUNT 1)
if(NOT story MATCHES "^# [A-Z].*[.]$")
  message(FATAL_ERROR "${REPLAY}: the first line tells the story, as a comment")
endif()

foreach(run 1 2)
  execute_process(
    COMMAND ${COMMAND} ${REPLAY}
    OUTPUT_FILE ${OUTPUT}
    RESULT_VARIABLE result
    ERROR_VARIABLE errors)
  if(NOT result EQUAL 0 OR NOT errors STREQUAL "")
    message(FATAL_ERROR "run ${run} ended with ${result}:\n${errors}")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${expected} ${OUTPUT}
                  RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    execute_process(COMMAND diff -u ${expected} ${OUTPUT})
    message(FATAL_ERROR "run ${run} does not print what is expected")
  endif()
endforeach()
