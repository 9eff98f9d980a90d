import type { PanelName } from "./app";
import type { Command } from "./commands";
import { saveFormats } from "./fileformats";
import { openFrameRate } from "./framerate";
import { type Gesture, openCommandList, openHelp } from "./help";
import type { TimeUnit } from "./preferences";
import type { Session } from "./session";
import type { AppState } from "./state";

function fileCommands(app: AppState, session: Session): Command[] {
  const hasDocument = (): boolean => app.document !== undefined;
  return [
    { id: "file.open", title: "Open …", group: "File", keys: ["Mod+O"], inFields: "taken", run: () => session.pick() },
    {
      id: "file.save",
      title: "Save",
      group: "File",
      keys: ["Mod+S"],
      inFields: "taken",
      enabled: hasDocument,
      run: () => void session.save(),
    },
    {
      id: "file.frameRate",
      title: "Frame rate …",
      group: "Edit",
      enabled: hasDocument,
      run: () => openFrameRate(app),
    },
    ...saveFormats(app.engine.formats).map(({ format, title }) => ({
      id: `file.saveAs.${format}`,
      title: `${title} (.${format})`,
      group: "Save a copy as",
      enabled: hasDocument,
      run: () => void session.saveAs(format),
    })),
  ];
}

function editCommands(app: AppState): Command[] {
  const has = (way: "undo" | "redo") => (): boolean => app.document?.undoState()[way] !== undefined;
  return [
    { id: "edit.undo", title: "Undo", group: "Edit", keys: ["Mod+Z"], inFields: "untyped", enabled: has("undo"), run: () => app.undo() },
    {
      id: "edit.redo",
      title: "Redo",
      group: "Edit",
      keys: ["Mod+Shift+Z", "Mod+Y"],
      inFields: "untyped",
      enabled: has("redo"),
      run: () => app.redo(),
    },
  ];
}

function preferenceCommands(app: AppState): Command[] {
  const units: readonly [TimeUnit, string][] = [
    ["frames", "Frames"],
    ["seconds", "Seconds"],
    ["timecode", "Time code"],
  ];
  const themes = [
    ["system", "As the system"],
    ["light", "Light"],
    ["dark", "Dark"],
  ] as const;
  return [
    ...units.map(([unit, title]) => ({
      id: `view.unit.${unit}`,
      title,
      group: "Times",
      checked: () => app.preferences.get("timeUnit") === unit,
      run: () => app.preferences.set("timeUnit", unit),
    })),
    ...themes.map(([theme, title]) => ({
      id: `view.theme.${theme}`,
      title,
      group: "Appearance",
      checked: () => app.preferences.get("theme") === theme,
      run: () => app.preferences.set("theme", theme),
    })),
  ];
}

function panelCommands(app: AppState): Command[] {
  const panels: readonly [PanelName, string][] = [
    ["tree", "Joints and curves"],
    ["motion", "Motion view"],
    ["graph", "Graph editor"],
    ["keys", "Selected keys"],
    ["layers", "Layers"],
    ["filters", "Filters"],
  ];
  return panels.map(([panel, title], index) => ({
    id: `panel.${panel}`,
    title,
    group: "Panels",
    keys: [`Alt+${index + 1}`],
    inFields: true,
    run: () => app.focusPanel(panel),
  }));
}

/** The commands that belong to the whole window. */
export function addMainCommands(app: AppState, session: Session, gestures: readonly Gesture[]): void {
  app.commands.addAll([
    ...fileCommands(app, session),
    ...editCommands(app),
    ...preferenceCommands(app),
    ...panelCommands(app),
    { id: "help.keys", title: "Keys and gestures", group: "Help", keys: ["?", "F1"], run: () => openHelp(app.commands, gestures) },
    {
      id: "app.commands",
      title: "All commands …",
      group: "Help",
      keys: ["Mod+K"],
      inFields: true,
      run: () => openCommandList(app.commands),
    },
  ]);
}
