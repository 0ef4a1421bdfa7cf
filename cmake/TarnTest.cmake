include(GoogleTest)

if(TARN_SANITIZE MATCHES "address")
    set(tarnTestEnvironment
        "env;LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan-suppressions.txt:print_suppressions=0;")
endif()

# tarn_add_test(NAME SOURCES file... [LIBRARIES target...] [LABELS label...] [KERNEL kind])
#
# A test program whose tests run one process each, inside the sandbox: /etc/tarn, /var/log and /sys/kernel/security/tarn
# are private and empty, and there is no kernel entry unless the test makes one. A label gives the target tests-<label>,
# which builds the programs that carry it. KERNEL asks for a kernel entry as tarn-sandbox's option of that name does.
# What a failed test leaves behind is kept below evidence/ in the build folder.
function(tarn_add_test name)
    cmake_parse_arguments(arg "" "KERNEL" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    if(NOT arg_KERNEL)
        set(arg_KERNEL none)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE tarn_test_support ${arg_LIBRARIES})
    target_precompile_headers(${name} REUSE_FROM tarn_test_headers)
    set_target_properties(${name} PROPERTIES
        ENABLE_EXPORTS ON
        RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests
        CROSSCOMPILING_EMULATOR "${tarnTestEnvironment}$<TARGET_FILE:tarn-sandbox>;--kernel=${arg_KERNEL};--")
    add_dependencies(${name} tarn-sandbox)
    if(NOT arg_KERNEL STREQUAL "none")
        add_dependencies(${name} tarn-kernel-sim)
    endif()
    foreach(label IN LISTS arg_LABELS)
        if(NOT TARGET tests-${label})
            add_custom_target(tests-${label})
        endif()
        add_dependencies(tests-${label} ${name})
    endforeach()
    gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES
        ENVIRONMENT "TARN_EVIDENCE_DIR=${PROJECT_BINARY_DIR}/evidence"
        SKIP_RETURN_CODE 77 TIMEOUT 300 LABELS "${arg_LABELS}")
endfunction()
