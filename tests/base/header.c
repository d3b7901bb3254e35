/* The framework's header is plain C: this file is C11 and includes it first. */
#include "ktbus3/ktbus3.h"

/* A provider in C reaches everything that the header names. */
uint32_t ReadHeaderAsC(void);

uint32_t ReadHeaderAsC(void) {
  const KtWchar name[] = KT_W("c");
  return name[0] == (KtWchar)'c' ? TYPE_TIMEZ : 0;
}
