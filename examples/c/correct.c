/* A C host: load the bundled sample calibration, print its basic fields and
 * correct a row of points, one at a time and as an interleaved array. */
#include <stdio.h>

#include <zemcal/zemcal_c.h>

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "examples/sample-head.zcal";
    zemcal_calibration* cal = NULL;
    if (zemcal_load(path, 0.0, &cal) != ZEMCAL_OK) {  /* 0.0: a text file's span is 100 mm */
        fprintf(stderr, "%s\n", zemcal_last_error());
        return 1;
    }
    zemcal_info info;
    zemcal_get_info(cal, &info, sizeof info);
    printf("field %g mm, working %g mm, resolution %d, %d grid tables\n", info.field_size,
           info.working_size, info.resolution, info.table_count);

    float x, y;
    zemcal_correct(cal, 40.0f, -25.0f, &x, &y); /* mm in, galvo units out */
    printf("40 -25 -> %.9g %.9g\n", x, y);

    float points[] = {-50.0f, 10.0f, -25.0f, 10.0f, 0.0f, 10.0f, 25.0f, 10.0f, 50.0f, 10.0f};
    zemcal_correct_array(cal, points, points, 5); /* x, y interleaved, in place */
    for (int i = 0; i < 5; ++i) printf("%.9g %.9g\n", points[2 * i], points[2 * i + 1]);
    zemcal_free(cal);
    return 0;
}
