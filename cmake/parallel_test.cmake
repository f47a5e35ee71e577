# Frames of an animation rendered by separate processes under GNU parallel
# must be bit-identical to the same frames rendered in one process.
# -D: RENDER (e3d-render), PARALLEL, MODEL, WORK_DIR
cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/run_step.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(times 0 0.5 1 1.5 2 2.5)
# {#} counts the jobs from 1; the single process numbers its frames from 0.
run("parallel renders" ${PARALLEL} -j2 ${RENDER} ${MODEL} --size 320x240 --time {} -o "${WORK_DIR}/p_{#}.png"
    ::: ${times})
run("one-process render" ${RENDER} ${MODEL} --size 320x240 --frames 0:2.5:0.5 -o ${WORK_DIR}/s.png)
set(index 0)
foreach(t IN LISTS times)
  math(EXPR job "${index} + 1")
  set(one ${WORK_DIR}/s_000${index}.png)
  set(par ${WORK_DIR}/p_${job}.png)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${par} ${one} RESULT_VARIABLE same)
  if(NOT same EQUAL 0)
    message(FATAL_ERROR "time ${t}: ${par} differs from ${one}")
  endif()
  math(EXPR index "${index} + 1")
endforeach()
# The frames must differ among themselves, or the test proves nothing.
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK_DIR}/s_0000.png ${WORK_DIR}/s_0002.png
  RESULT_VARIABLE same)
if(same EQUAL 0)
  message(FATAL_ERROR "frames at times 0 and 1 are the same: the animation did not move")
endif()
message(STATUS "6 frames rendered under parallel equal the one-process frames")
