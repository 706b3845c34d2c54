# Installs BUILD below WORK, builds CONSUMER against that alone, and runs it. The prefix is moved
# between the two, so that no absolute path of the installation can hide in the package.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${status}:\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
file(RENAME ${WORK}/installed ${WORK}/moved)

set(options)
if(SYSROOT)
  list(APPEND options -DCMAKE_SYSROOT=${SYSROOT})
endif()
run(${CMAKE_COMMAND}
    -S ${CONSUMER}
    -B ${WORK}/build
    -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_PREFIX_PATH=${WORK}/moved
    -DEXPECTED_VERSION=${VERSION}
    ${options})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)

foreach(folder platform/net records resolver)
  file(GLOB headers ${WORK}/moved/include/nexthop-resolver/${folder}/*.h)
  if(NOT headers)
    message(FATAL_ERROR "no headers of ${folder} were installed")
  endif()
endforeach()
file(GLOB_RECURSE sources ${WORK}/moved/include/*.cpp)
if(sources)
  message(FATAL_ERROR "sources were installed: ${sources}")
endif()
