/* The C interface of libZemCal, for hosts written in C or reached through a
 * foreign-function interface (C# P/Invoke, Python ctypes, LabVIEW).
 *
 * A calibration is an opaque handle: loaded from a file, prepared for
 * correcting points, saved, freed. Points are plain floats: logical points
 * in millimetres with the field centre at the origin, y up, in; device points
 * in galvo units from 0 to the resolution, out. Every result is bit for bit
 * that of the C++ classes (CPointCorrector, ZemCal).
 *
 * Error contract: every call returns a zemcal_status. On failure the calling
 * thread's last error message (zemcal_last_error) holds one sentence naming
 * the file and the problem, the one the zemcal tool prints; outputs are then
 * left unchanged. No C++ exception ever crosses this interface.
 *
 * Threads: any number of threads may correct points through one handle at
 * the same time; zemcal_save and zemcal_free must not run concurrently with
 * other calls on the same handle.
 *
 * Plain C99: no C++ type crosses it. */
#ifndef ZEMCAL_ZEMCAL_C_H
#define ZEMCAL_ZEMCAL_C_H

#include <stddef.h>

#include <zemcal/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Status of a call. The values are fixed: new codes are only appended. */
typedef enum zemcal_status {
    ZEMCAL_OK = 0,
    ZEMCAL_ERR_ARGUMENT = 1, /* a null pointer, or an argument out of range */
    ZEMCAL_ERR_FILE = 2,     /* a file cannot be opened, read or written */
    ZEMCAL_ERR_DATA = 3,     /* a file's or an array's contents are refused */
    ZEMCAL_ERR_MEMORY = 4,   /* not enough memory */
    ZEMCAL_ERR_FIT = 5,      /* a fit or solve that the data do not allow */
    ZEMCAL_ERR_INTERNAL = 6  /* an unexpected failure inside the library */
} zemcal_status;

/* A loaded calibration, prepared for correcting points. */
typedef struct zemcal_calibration zemcal_calibration;

/* The basic fields of a calibration (zemcal_get_info). Fields are only ever
 * appended; the caller passes sizeof(zemcal_info) it was compiled with. */
typedef struct zemcal_info {
    double field_size;    /* mm: the device span, 0..resolution */
    double working_size;  /* mm: side of the working field */
    int resolution;       /* largest device coordinate (galvo units) */
    int center;           /* device coordinate of the field centre */
    int xy_flip;          /* manual path: X and Y swapped (0 or not) */
    int x_invert;         /* manual path: X negated */
    int y_invert;         /* manual path: Y negated */
    int xy_flip_lsm;      /* least-squares path: X and Y swapped */
    int x_invert_lsm;     /* least-squares path: X negated */
    int y_invert_lsm;     /* least-squares path: Y negated */
    int version;          /* the version byte, 0..255: 'P' (0x50) classic fit, others revised */
    int binary;           /* 1: loaded from a binary file, 0: imported from a text file */
    int table_count;      /* number of grid tables (zemcal_get_table_size) */
} zemcal_info;

/* The sentence describing the calling thread's most recent failure, or ""
 * when no call of this thread has failed. A successful call leaves it as it
 * was; the pointer stays valid until the thread's next failing call. */
ZEMCAL_API const char* zemcal_last_error(void);

/* The library version, "major.minor.patch". */
ZEMCAL_API const char* zemcal_version(void);

/* Loads a binary calibration file, or imports and fits a text correction
 * file, and prepares it for correcting points on the least-squares path.
 * field_size (mm) is the device span for a text file, which does not carry
 * it (a binary file's own value wins); 0 selects 100 mm. A binary file cut
 * short is refused. On success *out is a new handle to free with
 * zemcal_free. */
ZEMCAL_API zemcal_status zemcal_load(const char* path, double field_size,
                                     zemcal_calibration** out);

/* Saves the calibration as a binary calibration file, atomically: the
 * record is stamped with version (0..255; -1 keeps its own), refitted as the
 * library saves, written to a temporary file and renamed over path. The
 * handle then corrects with the refitted record. Version '3' (0x33) is
 * refused: the library cannot load such a file. */
ZEMCAL_API zemcal_status zemcal_save(zemcal_calibration* cal, const char* path, int version);

/* Copies the basic fields into *info; info_size is sizeof(zemcal_info) as
 * the caller sees it (at most that many bytes are written). */
ZEMCAL_API zemcal_status zemcal_get_info(const zemcal_calibration* cal, zemcal_info* info,
                                         size_t info_size);

/* The grid dimension n of table index (0-based): the table holds n x n
 * points. */
ZEMCAL_API zemcal_status zemcal_get_table_size(const zemcal_calibration* cal, int index, int* n);

/* Corrects one point: (x, y) in mm to (*out_x, *out_y) in galvo units. */
ZEMCAL_API zemcal_status zemcal_correct(const zemcal_calibration* cal, float x, float y,
                                        float* out_x, float* out_y);

/* Corrects count points stored as interleaved x, y floats: in[2i], in[2i+1]
 * to out[2i], out[2i+1]. in and out are either the same array (in place) or
 * do not overlap. Nothing happens for count 0 (null arrays allowed then).
 * The fastest way to correct many points. */
ZEMCAL_API zemcal_status zemcal_correct_array(const zemcal_calibration* cal, const float* in,
                                              float* out, size_t count);

/* Frees a handle; a null handle is ignored. */
ZEMCAL_API void zemcal_free(zemcal_calibration* cal);

#ifdef __cplusplus
}
#endif

#endif /* ZEMCAL_ZEMCAL_C_H */
