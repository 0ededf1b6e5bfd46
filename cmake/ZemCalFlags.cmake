# Floating-point and warning flags.
#
# The calibration results are bit-exact: a fused multiply-add or any
# fast-math reassociation changes the last bit of stored coefficients and
# corrected points. The flags below are therefore usage requirements of the
# library target and reach every consumer that compiles against it.
set(ZEMCAL_FP_FLAGS
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-ffp-contract=off>
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-fno-fast-math>)

# Warnings for the project's own targets (not exported).
set(ZEMCAL_WARNING_FLAGS
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall -Wextra>)
