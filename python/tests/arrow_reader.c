/* A consumer of the Arrow C stream interface, written from the interface's public description.
 * Says as lines of text what a stream holds, and whether everything was released as it must be. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct ArrowSchema {
    const char *format, *name, *metadata;
    int64_t flags, n_children;
    struct ArrowSchema **children, *dictionary;
    void (*release)(struct ArrowSchema*);
    void* private_data;
};
struct ArrowArray {
    int64_t length, null_count, offset, n_buffers, n_children;
    const void** buffers;
    struct ArrowArray **children, *dictionary;
    void (*release)(struct ArrowArray*);
    void* private_data;
};
struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema*);
    int (*get_next)(struct ArrowArrayStream*, struct ArrowArray*);
    const char* (*get_last_error)(struct ArrowArrayStream*);
    void (*release)(struct ArrowArrayStream*);
    void* private_data;
};

static void PrintValue(FILE* out, const char* format, const struct ArrowArray* a, int64_t i) {
    if (strcmp(format, "u") == 0) {
        const int32_t* offsets = a->buffers[1];
        fprintf(out, "%.*s", offsets[i + 1] - offsets[i], (const char*)a->buffers[2] + offsets[i]);
    } else if (strcmp(format, "c") == 0) {
        fprintf(out, "%d", ((const int8_t*)a->buffers[1])[i]);
    } else if (strcmp(format, "i") == 0) {
        fprintf(out, "%d", ((const int32_t*)a->buffers[1])[i]);
    } else if (strcmp(format, "g") == 0) {
        fprintf(out, "%.4f", ((const double*)a->buffers[1])[i]);
    } else { /* l, tsm: */
        fprintf(out, "%lld", (long long)((const int64_t*)a->buffers[1])[i]);
    }
}

/* Reads `taken`, a stream that its capsule gives away, into the file at path. The first column of
 * each batch is moved out of the batch and outlives it. Non-zero: a rule was broken. */
int ReadStream(struct ArrowArrayStream* taken, const char* path) {
    struct ArrowArrayStream stream = *taken;
    taken->release = NULL;
    FILE* out = fopen(path, "w");
    struct ArrowSchema schema;
    if (!out || stream.get_schema(&stream, &schema) != 0) return 1;
    fprintf(out, "%s", schema.format);
    for (int64_t c = 0; c < schema.n_children; ++c) {
        fprintf(out, " %s:%s", schema.children[c]->name, schema.children[c]->format);
    }
    for (;;) {
        struct ArrowArray batch;
        if (stream.get_next(&stream, &batch) != 0) {
            fprintf(out, "\nerror %s", stream.get_last_error(&stream));
            break;
        }
        if (batch.release == NULL) break;
        if (batch.n_children != schema.n_children || batch.n_buffers != 1) return 2;
        fprintf(out, "\nbatch %lld", (long long)batch.length);
        for (int64_t i = 0; i < batch.length; ++i) {
            for (int64_t c = 0; c < batch.n_children; ++c) {
                const struct ArrowArray* column = batch.children[c];
                if (column->length != batch.length || column->null_count != 0) return 3;
                fputc(c == 0 ? '\n' : ',', out);
                PrintValue(out, schema.children[c]->format, column, i);
            }
        }
        struct ArrowArray moved = *batch.children[0];
        batch.children[0]->release = NULL;
        batch.release(&batch);
        if (batch.release != NULL) return 4;
        fprintf(out, "\nmoved ");
        PrintValue(out, schema.children[0]->format, &moved, moved.length - 1);
        moved.release(&moved);
        if (moved.release != NULL) return 5;
    }
    struct ArrowSchema* first = schema.n_children > 0 ? schema.children[0] : NULL;
    struct ArrowSchema child = first ? *first : schema;
    if (first) first->release = NULL;
    schema.release(&schema);
    if (schema.release != NULL) return 6;
    if (first) child.release(&child);
    stream.release(&stream);
    if (stream.release != NULL) return 7;
    fputc('\n', out);
    return fclose(out) == 0 ? 0 : 8;
}
