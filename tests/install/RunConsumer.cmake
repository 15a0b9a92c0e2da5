# Installs a build of WexVlanMapping into a folder, builds the consumer project
# of this folder against that installation, runs its program, and runs the
# installed wexvm-sim on the bundled scenario. Any step that fails fails the run.
#
#   cmake -DBUILD_DIR=<build> -DSOURCE_DIR=<sources> -DWORK=<scratch folder>
#         -DGENERATOR=<generator> -DCXX=<compiler> -P RunConsumer.cmake

foreach(var BUILD_DIR SOURCE_DIR WORK GENERATOR CXX)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "RunConsumer.cmake: -D${var}=... is missing")
  endif()
endforeach()

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run("configure of the consumer" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install
  -B ${WORK}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run("build of the consumer" ${CMAKE_COMMAND} --build ${WORK}/build)

run("the consumer's program" ${WORK}/build/embedding-example)
set(want "(Ethernet3/1, 100:0x8100, 4095:0x8100) hwStatusSuccess, Vlan100 hwStatusSuccess\n")
if(NOT out STREQUAL want)
  message(FATAL_ERROR "the consumer's program printed\n${out}instead of\n${want}")
endif()

# The installed simulator finds the installed library by itself.
find_program(sim wexvm-sim PATHS ${prefix}/bin NO_DEFAULT_PATH REQUIRED)
run("the installed wexvm-sim" ${sim} ${SOURCE_DIR}/examples/small-switch.scn)
file(READ ${SOURCE_DIR}/examples/small-switch.expected expected)
if(NOT out STREQUAL expected)
  file(WRITE ${WORK}/small-switch.actual "${out}")
  message(FATAL_ERROR "the installed wexvm-sim printed other than small-switch.expected; "
                      "see ${WORK}/small-switch.actual")
endif()
message(STATUS "installed package: consumer built and ran; installed wexvm-sim matched")
