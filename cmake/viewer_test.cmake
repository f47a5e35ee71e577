# Runs the window viewer under a virtual X server for a fixed number of
# frames and compares the picture it read back from its window, bit for bit,
# with the headless render of the same frames. A one-frame render must
# differ, so the comparison also proves that the frames advanced the turn.
# -D: VIEWER, XVFB_RUN, WORK_DIR, FRAMES, and MODEL (optional: a model file
# the viewer opens instead of the showcase)
cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/run_step.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(window ${WORK_DIR}/window.png)
set(headless ${WORK_DIR}/headless.png)
set(first ${WORK_DIR}/first.png)
# The window run loads X and GL driver libraries that keep their allocations
# for the process's life; the headless runs below keep the leak check.
set(asan_options "$ENV{ASAN_OPTIONS}")
set(ENV{ASAN_OPTIONS} "${asan_options}:detect_leaks=0")
run("viewer under xvfb" ${XVFB_RUN} -a -s "-screen 0 800x600x24"
    ${VIEWER} ${MODEL} --frames ${FRAMES} --screenshot ${window})
set(ENV{ASAN_OPTIONS} "${asan_options}")
run("headless render" ${VIEWER} ${MODEL} --headless --frames ${FRAMES} --screenshot ${headless})
run("first frame" ${VIEWER} ${MODEL} --headless --frames 1 --screenshot ${first})
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${window} ${headless} RESULT_VARIABLE same)
if(NOT same EQUAL 0)
  message(FATAL_ERROR "the window's picture differs from the headless render (${window}, ${headless})")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${first} ${headless} RESULT_VARIABLE same)
if(same EQUAL 0)
  message(FATAL_ERROR "frame ${FRAMES} equals frame 1: the turn did not advance")
endif()
message(STATUS "frame ${FRAMES} from the window equals the headless render")
