# Runs a host program of another language and `zemcal correct` on the same
# points, and requires the same device points from both, digit for digit
# (both print %.9g, which tells every float apart).
#   cmake -DTOOL=zemcal -DSAMPLE=file -DPOINTS=points.txt -DCOMMAND="prog;args" -P CompareWithTool.cmake
# The program prints "x y" device-point lines; other lines are ignored, and
# "x y -> X Y" lines count as "X Y".
execute_process(COMMAND ${TOOL} correct -q ${SAMPLE} -i ${POINTS}
                OUTPUT_VARIABLE expected RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "zemcal correct failed (${rc})")
endif()
execute_process(COMMAND ${COMMAND} OUTPUT_VARIABLE got RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${COMMAND} failed (${rc}):\n${got}")
endif()
message("${got}")

string(REGEX MATCHALL "[^\n]+" got_lines "${got}")
set(points "")
foreach(line IN LISTS got_lines)
  string(REGEX REPLACE "^.* -> " "" line "${line}")
  if(line MATCHES "^[-+0-9.eE]+ [-+0-9.eEnaif]+$")
    string(APPEND points "${line}\n")
  endif()
endforeach()
if(NOT points STREQUAL expected)
  message(FATAL_ERROR "device points differ from zemcal correct:\n--- tool\n${expected}--- program\n${points}")
endif()
