/* Prepares a message as a host does before rating, and prints what the engine would get. */
#include <stdio.h>
#include <stdlib.h>
#include <velq_text.h>

/* The prepared text, to be released with free; null when memory is out. */
static VELQ_WideChar *prepared(const VELQ_WideChar *body)
{
    const size_t needed = velq_prepare_text(body, NULL, 0);
    VELQ_WideChar *text = malloc(needed * sizeof *text);
    if (text != NULL) {
        velq_prepare_text(body, text, needed);
    }
    return text;
}

int main(void)
{
    /* Capitals, full-width letters, an accent, a Cyrillic letter, a soft hyphen. */
    VELQ_WideChar *text = prepared(VELQ_TEXT("F\u00dcR \uff21\uff4c\uff4c: \u0441a\u00adll NOW"));
    if (text == NULL) {
        return 1;
    }
    for (const VELQ_WideChar *unit = text; *unit != 0; ++unit) {
        putchar(*unit < 0x80 ? (int)*unit : '?');
    }
    putchar('\n'); /* fur all: call now */
    free(text);
    return 0;
}
