# What the trainers share. Their inner loops are built for several instruction sets and chosen at
# run time; precision is the same within a build, which is all that training needs.
add_library(mird_trainers STATIC EXCLUDE_FROM_ALL
    command_line.cpp features.cpp kernels.cpp kernels_avx2.cpp kernels_avx512.cpp kernels_sse2.cpp
    network.cpp ply_data.cpp pst_tuning.cpp relabelling.cpp trainer.cpp training_curve.cpp)
target_link_libraries(mird_trainers PUBLIC mird_training PRIVATE mird_warnings mird_plain_code)
set_property(SOURCE kernels_sse2.cpp kernels_avx2.cpp kernels_avx512.cpp
    PROPERTY COMPILE_OPTIONS -O3 -ffp-contract=fast -fno-math-errno)
set_property(SOURCE kernels_avx2.cpp APPEND PROPERTY COMPILE_OPTIONS -mavx2 -mfma)
set_property(SOURCE kernels_avx512.cpp APPEND PROPERTY COMPILE_OPTIONS
    -mavx512f -mavx2 -mfma -mprefer-vector-width=512)

add_training_program(tune_pst tune_pst.cpp)
add_training_program(train train.cpp)
add_training_program(relabel relabel.cpp)
target_link_libraries(tune_pst PRIVATE mird_trainers)
target_link_libraries(train PRIVATE mird_trainers)
target_link_libraries(relabel PRIVATE mird_trainers)
if(TARGET mird_tests)
    target_link_libraries(mird_tests PRIVATE mird_trainers)
endif()
