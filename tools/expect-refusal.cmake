# Runs COMMAND_LINE (a ;-list) and passes when it exits non-zero with standard
# error matching the regular expression ERROR.
execute_process(COMMAND ${COMMAND_LINE} RESULT_VARIABLE rc ERROR_VARIABLE err OUTPUT_QUIET)
if(rc EQUAL 0)
  message(FATAL_ERROR "exit status 0; standard error: ${err}")
endif()
if(NOT err MATCHES "${ERROR}")
  message(FATAL_ERROR "standard error does not match '${ERROR}': ${err}")
endif()
