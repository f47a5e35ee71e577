# Every folder may include only the folders below it: core/ includes nothing
# of scene/, primitives/, pipeline/, shading/ or raster/.
file(GLOB core_files ${SOURCE}/core/*.cpp ${SOURCE}/core/*.h)
set(bad "")
foreach(f ${core_files})
  file(STRINGS ${f} lines REGEX "^#include \"(scene|primitives|pipeline|shading|raster)/")
  if(lines)
    list(APPEND bad "${f}: ${lines}")
  endif()
endforeach()
if(bad)
  message(FATAL_ERROR "core/ reaches up:\n${bad}")
endif()
