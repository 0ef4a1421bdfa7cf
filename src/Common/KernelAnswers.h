// The kernel module's answers to a refused message: the errno of the write to the delivery entry, and what it means.
// The one table of them: the writer logs its texts, the simulator answers by it, the tools and documents print it.
#ifndef TARN_COMMON_KERNEL_ANSWERS_H
#define TARN_COMMON_KERNEL_ANSWERS_H

#include <array>
#include <cerrno>

struct KernelAnswer {
    int number;        // errno of the refused write
    const char* name;  // its Linux name
    const char* text;  // what the writer logs after "errno: "
};

inline constexpr std::array<KernelAnswer, 7> kKernelAnswers{{
    {EIO, "EIO", "failed to get policy data stream from kernel"},
    {ENOMEM, "ENOMEM", "system out of memory"},
    {EINVAL, "EINVAL", "policy format invalid, incomplete data or magic number verification failed"},
    {ENODATA, "ENODATA", "additional function does not exist or not registered in framework"},
    {ECOMM, "ECOMM", "tarn_main module not loaded"},
    {EPROTO, "EPROTO", "policy delivery order error"},
    {EBADMSG, "EBADMSG", "policy message type error"},
}};

// The numbers are the kernel module's, whatever errno values a platform's C library may name.
static_assert(EIO == 5 && ENOMEM == 12 && EINVAL == 22 && ENODATA == 61 && ECOMM == 70 && EPROTO == 71 &&
              EBADMSG == 74);

// The answer with this number, or null where the kernel module has no words of its own for it.
constexpr const KernelAnswer* findKernelAnswer(int number) {
    for (const KernelAnswer& answer : kKernelAnswers) {
        if (answer.number == number) {
            return &answer;
        }
    }
    return nullptr;
}

#endif
