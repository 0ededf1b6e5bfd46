# Writes `zemcal correct` of POINTS to SCRATCH/csharp-expected.txt, then runs
# COMMAND, which compares its own results with that file (for programs whose
# number formatting differs from printf's, so that only the values compare).
#   cmake -DTOOL=zemcal -DSAMPLE=file -DPOINTS=points.txt -DSCRATCH=dir -DCOMMAND="prog;args" -P RunWithToolOutput.cmake
execute_process(COMMAND ${TOOL} correct -q ${SAMPLE} -i ${POINTS}
                OUTPUT_FILE ${SCRATCH}/csharp-expected.txt RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "zemcal correct failed (${rc})")
endif()
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${COMMAND} failed (${rc})")
endif()
