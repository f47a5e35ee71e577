# Writes OUT: one table entry for every E3D_API declaration of HEADER. An
# export with a pointer parameter is called with every argument zero (null
# pointers, 0 numbers); one without gets no call, since nothing of it can be
# null. An export with several pointer parameters also gets one call for each
# of them, null there and live objects (Live{}) in the other pointers. Run at
# build time, so a new export joins the tables by itself.
file(READ ${HEADER} header)
string(REGEX MATCHALL "\nE3D_API[^;]*\\)" decls "${header}")
set(body "")
set(mixed "")
set(count 0)
foreach(decl IN LISTS decls)
  string(REGEX REPLACE "[\r\n\t ]+" " " decl "${decl}")
  string(REGEX MATCH "^[^(]*[ *]([A-Za-z_][A-Za-z0-9_]*) ?\\((.*)\\)$" found "${decl}")
  if(NOT found)
    message(FATAL_ERROR "cannot read the declaration: ${decl}")
  endif()
  set(name ${CMAKE_MATCH_1})
  set(params "${CMAKE_MATCH_2}")
  math(EXPR count "${count} + 1")
  if(NOT params MATCHES "\\*")
    string(APPEND body "    {\"${name}\", nullptr},\n")
    continue()
  endif()
  string(REGEX MATCHALL "," commas "${params}")
  list(LENGTH commas n)
  set(args "{}")
  if(n GREATER 0)
    foreach(i RANGE 1 ${n})
      string(APPEND args ", {}")
    endforeach()
  endif()
  string(APPEND body "    {\"${name}\", +[] { return Observe([] { return ${name}(${args}); }); }},\n")
  # One live-but-one call per pointer parameter.
  string(REPLACE "," ";" param_list "${params}")
  set(pointers "")
  set(i 0)
  foreach(p IN LISTS param_list)
    if(p MATCHES "\\*")
      list(APPEND pointers ${i})
    endif()
    math(EXPR i "${i} + 1")
  endforeach()
  list(LENGTH pointers np)
  if(np LESS 2)
    continue()
  endif()
  foreach(nulled IN LISTS pointers)
    set(args "")
    set(i 0)
    foreach(p IN LISTS param_list)
      if(i GREATER 0)
        string(APPEND args ", ")
      endif()
      if(p MATCHES "\\*" AND NOT i EQUAL nulled)
        string(APPEND args "Live{}")
      else()
        string(APPEND args "{}")
      endif()
      math(EXPR i "${i} + 1")
    endforeach()
    string(APPEND mixed "    {\"${name}\", ${nulled}, +[] { return Observe([] { return ${name}(${args}); }); }},\n")
  endforeach()
endforeach()
set(text "// Written by tests/null_calls.cmake from include/engine3d.h: do not edit.
#include \"engine3d.h\"
#include \"support/null_calls.h\"

namespace e3dtest {

const NullCall kNullCalls[] = {
${body}};
const int kNullCallCount = ${count};

const MixedCall kMixedCalls[] = {
${mixed}};
const int kMixedCallCount = sizeof kMixedCalls / sizeof kMixedCalls[0];

}  // namespace e3dtest
")
# Rewritten only when it changes, so an unchanged header rebuilds nothing.
set(old "")
if(EXISTS ${OUT})
  file(READ ${OUT} old)
endif()
if(NOT old STREQUAL text)
  file(WRITE ${OUT} "${text}")
endif()
