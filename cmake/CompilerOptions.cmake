# Options that every target shares.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-qual -Wformat=2 -Wno-format-nonliteral -fstack-protector-strong)
if(TARN_WERROR)
    add_compile_options(-Werror)
endif()

# The log names source files as src/..., and no binary carries a path of the machine that built it.
file(REAL_PATH ${PROJECT_SOURCE_DIR} tarnRealSourceDir)
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${tarnRealSourceDir}/=)
if(NOT PROJECT_BINARY_DIR STREQUAL PROJECT_SOURCE_DIR)
    add_compile_options(-ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
endif()

if(TARN_SANITIZE)
    add_compile_options(-fsanitize=${TARN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
    add_link_options(-fsanitize=${TARN_SANITIZE})
else()
    add_link_options(-Wl,-z,relro,-z,now -Wl,--no-undefined)
    if(CMAKE_BUILD_TYPE MATCHES "Rel")
        add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    endif()
endif()
