// Defining functions from the list of entry points alone: parameter lists come from the declarations in
// OpenCL's headers.
#pragma once

#include <tuple>
#include <type_traits>

#include "jni/opticommon/symb/OpenCL.h"

namespace opencl {

template <typename Function>
struct Signature;
template <typename R, typename... A>
struct Signature<R(A...)> {
    using Result = R;
    using Arguments = std::tuple<A...>;
};

template <typename Function>
using Result = typename Signature<Function>::Result;
template <typename Function, std::size_t i>
using Argument = std::tuple_element_t<i, typename Signature<Function>::Arguments>;

// What a call that failed with `code` gives its caller: the code; or null, with the code in the error
// argument, which is the last one where a function has it; or nothing.
template <typename R, typename... A>
R failedCall(cl_int code, A... arguments) {
    if constexpr (std::is_same_v<R, cl_int>) {
        return code;
    } else if constexpr (std::is_pointer_v<R>) {
        const auto last = std::get<sizeof...(A) - 1>(std::make_tuple(arguments...));
        if constexpr (std::is_same_v<std::remove_const_t<decltype(last)>, cl_int*>) {
            if (last != nullptr) {
                *last = code;
            }
        }
        return nullptr;
    } else {
        static_assert(std::is_void_v<R>);
    }
}

}  // namespace opencl

// The parameters a0, a1, ... of the entry point `name`, and the same as arguments of a call.
// clang-format off
#define HUEVANCE_CL_PARAMETERS_1(name) ::opencl::Argument<decltype(::name), 0> a0
#define HUEVANCE_CL_PARAMETERS_2(name) HUEVANCE_CL_PARAMETERS_1(name), ::opencl::Argument<decltype(::name), 1> a1
#define HUEVANCE_CL_PARAMETERS_3(name) HUEVANCE_CL_PARAMETERS_2(name), ::opencl::Argument<decltype(::name), 2> a2
#define HUEVANCE_CL_PARAMETERS_4(name) HUEVANCE_CL_PARAMETERS_3(name), ::opencl::Argument<decltype(::name), 3> a3
#define HUEVANCE_CL_PARAMETERS_5(name) HUEVANCE_CL_PARAMETERS_4(name), ::opencl::Argument<decltype(::name), 4> a4
#define HUEVANCE_CL_PARAMETERS_6(name) HUEVANCE_CL_PARAMETERS_5(name), ::opencl::Argument<decltype(::name), 5> a5
#define HUEVANCE_CL_PARAMETERS_7(name) HUEVANCE_CL_PARAMETERS_6(name), ::opencl::Argument<decltype(::name), 6> a6
#define HUEVANCE_CL_PARAMETERS_8(name) HUEVANCE_CL_PARAMETERS_7(name), ::opencl::Argument<decltype(::name), 7> a7
#define HUEVANCE_CL_PARAMETERS_9(name) HUEVANCE_CL_PARAMETERS_8(name), ::opencl::Argument<decltype(::name), 8> a8
#define HUEVANCE_CL_PARAMETERS_10(name) HUEVANCE_CL_PARAMETERS_9(name), ::opencl::Argument<decltype(::name), 9> a9
#define HUEVANCE_CL_PARAMETERS_11(name) HUEVANCE_CL_PARAMETERS_10(name), ::opencl::Argument<decltype(::name), 10> a10
#define HUEVANCE_CL_PARAMETERS_12(name) HUEVANCE_CL_PARAMETERS_11(name), ::opencl::Argument<decltype(::name), 11> a11
#define HUEVANCE_CL_ARGUMENTS_1 a0
#define HUEVANCE_CL_ARGUMENTS_2 HUEVANCE_CL_ARGUMENTS_1, a1
#define HUEVANCE_CL_ARGUMENTS_3 HUEVANCE_CL_ARGUMENTS_2, a2
#define HUEVANCE_CL_ARGUMENTS_4 HUEVANCE_CL_ARGUMENTS_3, a3
#define HUEVANCE_CL_ARGUMENTS_5 HUEVANCE_CL_ARGUMENTS_4, a4
#define HUEVANCE_CL_ARGUMENTS_6 HUEVANCE_CL_ARGUMENTS_5, a5
#define HUEVANCE_CL_ARGUMENTS_7 HUEVANCE_CL_ARGUMENTS_6, a6
#define HUEVANCE_CL_ARGUMENTS_8 HUEVANCE_CL_ARGUMENTS_7, a7
#define HUEVANCE_CL_ARGUMENTS_9 HUEVANCE_CL_ARGUMENTS_8, a8
#define HUEVANCE_CL_ARGUMENTS_10 HUEVANCE_CL_ARGUMENTS_9, a9
#define HUEVANCE_CL_ARGUMENTS_11 HUEVANCE_CL_ARGUMENTS_10, a10
#define HUEVANCE_CL_ARGUMENTS_12 HUEVANCE_CL_ARGUMENTS_11, a11
// clang-format on
