import type { FileFormat, Format } from "../engine/engine";

const kPacked = ".gz";

/** The formats in which a motion can be saved, as the menu names them; those that pack files come last. */
export function saveFormats(formats: readonly FileFormat[]): { format: Format; title: string }[] {
  return [
    ...formats.map((format) => ({ format: format.ending, title: `${titleOf(format)}${format.holdsLayers ? " with all keys and layers" : ""}` })),
    ...formats.map((format) => ({ format: `${format.ending}${kPacked}`, title: `${titleOf(format)}, packed` })),
  ];
}

/** "Scene file" of a "scene file"; "glTF" stays as it is. */
function titleOf({ name }: FileFormat): string {
  return name.replace(/^[a-z]+\b/, (word) => word.charAt(0).toUpperCase() + word.slice(1));
}

/** The name of a file with the ending that goes with a format. */
export function fileNameFor(formats: readonly FileFormat[], name: string, format: Format): string {
  const unpacked = name.toLowerCase().endsWith(kPacked) ? name.slice(0, -kPacked.length) : name;
  const known = formats.find(({ ending }) => unpacked.toLowerCase().endsWith(`.${ending}`));
  return `${known ? unpacked.slice(0, -known.ending.length - 1) : name}.${format}`;
}

/** Whether files of a format keep layers. */
export function holdsLayers(formats: readonly FileFormat[], format: Format): boolean {
  return formats.some((known) => known.holdsLayers && (format === known.ending || format === `${known.ending}${kPacked}`));
}

/** What the file picker offers. */
export function openEndings(formats: readonly FileFormat[]): string {
  return [...formats.map(({ ending }) => `.${ending}`), kPacked].join(",");
}
