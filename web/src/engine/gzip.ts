/** Packing and unpacking by gzip, which the browser does. */

import { EngineError } from "./engine.js";

export function isGzip(bytes: Uint8Array): boolean {
  return bytes[0] === 0x1f && bytes[1] === 0x8b;
}

async function through(bytes: Uint8Array, stream: CompressionStream | DecompressionStream): Promise<Uint8Array> {
  const body = new Response(new Blob([bytes as BlobPart]).stream().pipeThrough(stream));
  return new Uint8Array(await body.arrayBuffer());
}

export function packed(bytes: Uint8Array): Promise<Uint8Array> {
  return through(bytes, new CompressionStream("gzip"));
}

export async function unpacked(bytes: Uint8Array): Promise<Uint8Array> {
  try {
    return await through(bytes, new DecompressionStream("gzip"));
  } catch {
    throw new EngineError("the packed file is damaged or cut off; get it anew");
  }
}
