# Runs COMMAND_LINE (a ;-list) and passes when it exits with STATUS, its
# standard error matches the regular expression ERROR and, when OUTPUT is given,
# its standard output matches the regular expression OUTPUT. Give ^...$ for an
# exact match.
execute_process(COMMAND ${COMMAND_LINE} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc STREQUAL "${STATUS}")
  message(FATAL_ERROR "exit status ${rc}, not ${STATUS}; standard error: ${err}")
endif()
if(NOT err MATCHES "${ERROR}")
  message(FATAL_ERROR "standard error does not match '${ERROR}': ${err}")
endif()
if(DEFINED OUTPUT AND NOT out MATCHES "${OUTPUT}")
  message(FATAL_ERROR "standard output does not match '${OUTPUT}': ${out}")
endif()
