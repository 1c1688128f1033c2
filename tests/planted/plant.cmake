# cmake -D DEFECTS=... -D PLACE=... -D TOP=... -D PLANTED=... -P plant.cmake
# Writes a source file with that defect of the list in it.
cmake_minimum_required(VERSION 3.19)
file(READ ${DEFECTS} list)
string(JSON name GET "${list}" ${PLACE} name)
string(JSON file GET "${list}" ${PLACE} file)
string(JSON sound GET "${list}" ${PLACE} sound)
string(JSON defect GET "${list}" ${PLACE} defect)
file(READ ${TOP}/${file} text)
string(FIND "${text}" "${sound}" first)
string(FIND "${text}" "${sound}" last REVERSE)
if(first EQUAL -1 OR NOT first EQUAL last)
    message(FATAL_ERROR "The planted defect \"${name}\": ${file} does not hold this once any more:\n"
        "${sound}\nCorrect tests/planted/defects.json.")
endif()
string(REPLACE "${sound}" "${defect}" text "${text}")
file(WRITE ${PLANTED} "${text}")
