/** Where the pointer is in the plot, in CSS pixels, with the keys that are held. */
export interface Pointer {
  x: number;
  y: number;
  shift: boolean;
  ctrl: boolean;
  alt: boolean;
}

/** Something that is done while the pointer is down. `end` and `cancel` are called once and last. */
export interface Drag {
  readonly cursor: string;
  move(pointer: Pointer): void;
  /** `moved` is false for a click. */
  end(pointer: Pointer, moved: boolean): void;
  cancel(): void;
}
