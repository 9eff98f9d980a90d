/** The file of `yfcurve edit`, which serves this page under an address with a secret token. */
export interface FileServer {
  read(): Promise<{ bytes: Uint8Array; name: string }>;
  /** "changed" where the file on disk is another than the one that was read or written last; nothing is written then. */
  write(bytes: Uint8Array, overwrite: boolean): Promise<"written" | "changed">;
}

/** The file lies beside the page. */
const kFile = "file";

/** The message of a reply that is a failure. */
async function failureOf(reply: Response): Promise<Error> {
  const text = (await reply.text()).trim();
  return new Error(text || `The program that serves this page refused: ${reply.status} ${reply.statusText}`);
}

async function ask(init: RequestInit): Promise<Response> {
  try {
    return await fetch(kFile, { cache: "no-store", ...init });
  } catch {
    throw new Error("The program that serves this page cannot be reached. Start it again, or save a copy among the downloads.");
  }
}

class EditServer implements FileServer {
  private tag = "";

  constructor(private readonly name: string) {}

  async read(): Promise<{ bytes: Uint8Array; name: string }> {
    const reply = await ask({});
    if (!reply.ok) throw await failureOf(reply);
    this.tag = reply.headers.get("ETag") ?? "";
    return { bytes: new Uint8Array(await reply.arrayBuffer()), name: this.name };
  }

  async write(bytes: Uint8Array, overwrite: boolean): Promise<"written" | "changed"> {
    const headers = { "If-Match": overwrite ? "*" : this.tag };
    const reply = await ask({ method: "PUT", headers, body: bytes.slice() });
    if (reply.status === 412) return "changed";
    if (!reply.ok) throw await failureOf(reply);
    this.tag = reply.headers.get("ETag") ?? this.tag;
    return "written";
  }
}

/** The server of this page, where its address names a file that is edited; undefined on a plain site. */
export function findFileServer(address: string): FileServer | undefined {
  const name = new URL(address).searchParams.get("edit");
  return name ? new EditServer(name) : undefined;
}
