# The kernel's signal costs, each against a bare std::thread reference in the same run.
add_executable(kernel_bench ${CMAKE_CURRENT_LIST_DIR}/kernel_bench.cpp)
target_link_libraries(kernel_bench PRIVATE ose Threads::Threads)
ulsa_warnings(kernel_bench)
