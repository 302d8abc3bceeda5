/* A host in C for captures: enhances one raw NV21 frame in a file, in place. It links the library instead of
 * loading it. */
#include <stdio.h>
#include <stdlib.h>

#include "jni/HuevanceAPI.h"

int main(int argc, char** argv) {
    if (argc != 6) {
        return fprintf(stderr, "usage: capture TUNING_PARENT TUNING_NAME WIDTH HEIGHT FRAME.nv21\n"), 2;
    }
    const int width = atoi(argv[3]), height = atoi(argv[4]);
    const int stride = width + width % 2;
    FILE* file = fopen(argv[5], "rb+");
    if (file == NULL || width < 1 || height < 1) {
        return fprintf(stderr, "cannot open the frame\n"), 3;
    }
    const size_t size = (size_t)stride * (size_t)(height + height / 2);
    unsigned char* pixels = malloc(size);
    AlgoApi api;
    get_algo_api(&api);
    api.setLogStatus(5); /* errors and information */

    InitParam init = {0};
    init.dataBit = 8;
    init.framePhotoFlag = kPhotoMode;
    init.directory1 = argv[1];
    init.directory2 = argv[2];
    init.imageRoi = (RoiInfo){.width = width, .height = height, .stride = stride, .scanline = height};
    void* handle = NULL;
    int good =
        pixels != NULL && fread(pixels, 1, size, file) == size && api.algoInitHandle(&handle, &init) == 0;
    if (good) {
        Image image = {0};
        image.format = IMAGE_FORMAT_TYPE_NV21;
        image.planes[0].data = pixels;
        image.planes[0].fd = -1;
        int scene = 0;
        good = api.singleProcessImage(handle, &image, &scene, NULL) == 0;
        api.releaseHandle(handle, NULL);
        rewind(file);
        good = good && fwrite(pixels, 1, size, file) == size;
    }
    free(pixels);
    return fclose(file) == 0 && good ? 0 : 4;
}
