# Regenerates the tag constants and the built-in tag table from the committed
# tags.tsv into a scratch folder and fails unless they equal the committed files.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(COMMAND ${PYTHON} ${SOURCE_DIR}/dictionary/generate_tags.py --out ${WORK_DIR}
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "generate_tags.py failed: ${status}")
endif()
foreach(name DcDictTags.h DcDictTagTable.cpp)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK_DIR}/${name} ${SOURCE_DIR}/dictionary/${name}
    RESULT_VARIABLE differs)
  if(differs)
    message(FATAL_ERROR "dictionary/${name} differs from what generate_tags.py makes of dictionary/tags.tsv")
  endif()
endforeach()
