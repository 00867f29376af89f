# xml_bench: reading a create request of 100 attributes and writing its answer,
# each against bare TinyXML doing the comparable work in the same run.
if(TARGET xml)
  add_executable(xml_bench ${CMAKE_CURRENT_LIST_DIR}/xml_bench.cpp)
  target_link_libraries(xml_bench PRIVATE xml)
  ulsa_warnings(xml_bench)
endif()
