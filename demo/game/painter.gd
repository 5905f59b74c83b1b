class_name Painter
extends RefCounted
## How things on the field look, drawn on any canvas item.

const OWN := Color("4a90e2")
const ENEMY := Color("d6543c")
const HARVESTER := Color("e0b84c")
const CRYSTAL := Color("7fe3d4")
const STEEL := Color("3a3f4a")


static func side(own: bool) -> Color:
	return OWN if own else ENEMY


static func base(on: CanvasItem, at: Vector2, own: bool, health: float, time: float) -> void:
	var colour := side(own)
	on.draw_rect(Rect2(at + Vector2(-42, -26), Vector2(96, 70)), Color(0, 0, 0, 0.3))
	on.draw_rect(Rect2(at + Vector2(-48, -34), Vector2(96, 70)), STEEL)
	on.draw_rect(Rect2(at + Vector2(-44, -30), Vector2(88, 62)), STEEL.lightened(0.12))
	on.draw_rect(Rect2(at + Vector2(-48, -34), Vector2(96, 13)), colour)
	on.draw_rect(Rect2(at + Vector2(-40, -12), Vector2(26, 38)), STEEL.darkened(0.35))
	for line in 4:
		on.draw_rect(Rect2(at + Vector2(-40, -8 + line * 9), Vector2(26, 2)), STEEL.lightened(0.05))
	on.draw_circle(at + Vector2(16, 8), 17, colour.darkened(0.45))
	on.draw_circle(at + Vector2(16, 8), 13, colour.darkened(0.2))
	var dish := Vector2.from_angle(time * 0.8) * 12.0
	on.draw_line(at + Vector2(16, 8) - dish, at + Vector2(16, 8) + dish, Color("e8e8e8"), 3.0)
	bar(on, at + Vector2(0, -44), 70, health)


static func crystal(on: CanvasItem, at: Vector2, glint: float) -> void:
	var light := CRYSTAL.lightened(0.35 * glint)
	on.draw_colored_polygon(PackedVector2Array([at + Vector2(3, 10), at + Vector2(9, 2), at + Vector2(3, 6)]), Color(0, 0, 0, 0.25))
	on.draw_colored_polygon(PackedVector2Array([at + Vector2(0, -11), at + Vector2(0, 8), at + Vector2(-6, 0)]), light)
	on.draw_colored_polygon(PackedVector2Array([at + Vector2(0, -11), at + Vector2(6, 0), at + Vector2(0, 8)]), CRYSTAL.darkened(0.25))


static func unit(on: CanvasItem, who: Unit) -> void:
	if who.selected:
		on.draw_arc(who.position, 19, 0, TAU, 32, Color(1, 1, 1, 0.9), 1.5, true)
	on.draw_set_transform(who.position + Vector2(2, 4), who.heading)
	on.draw_rect(Rect2(-14, -10, 28, 20), Color(0, 0, 0, 0.25))
	on.draw_set_transform(who.position, who.heading)
	on.draw_rect(Rect2(-14, -11, 28, 6), Color("22262c"))
	on.draw_rect(Rect2(-14, 5, 28, 6), Color("22262c"))
	var colour := HARVESTER if who.harvester else side(who.own)
	on.draw_rect(Rect2(-13, -8, 26, 16), colour)
	on.draw_rect(Rect2(7, -8, 6, 16), colour.lightened(0.2))
	if who.harvester:
		on.draw_rect(Rect2(-10, -5, 12, 10), colour.darkened(0.4))
		if who.loaded:
			on.draw_rect(Rect2(-9, -4, 10, 8), CRYSTAL)
	else:
		on.draw_set_transform(who.position, who.aim)
		on.draw_rect(Rect2(3, -1.75, 18, 3.5), Color("e8e8e8"))
		on.draw_circle(Vector2.ZERO, 6.5, colour.darkened(0.35))
		on.draw_circle(Vector2.ZERO, 4.0, colour.darkened(0.1))
	on.draw_set_transform(Vector2.ZERO)
	if who.selected or who.health < Unit.HEALTH:
		bar(on, who.position + Vector2(0, -21), 28, who.health / float(Unit.HEALTH))


static func bar(on: CanvasItem, at: Vector2, width: float, part: float) -> void:
	on.draw_rect(Rect2(at - Vector2(width / 2.0 + 1, 3), Vector2(width + 2, 6)), Color(0, 0, 0, 0.55))
	var colour := Color("d6543c").lerp(Color("8bd06a"), clampf(part, 0.0, 1.0))
	on.draw_rect(Rect2(at - Vector2(width / 2.0, 2), Vector2(width * clampf(part, 0.0, 1.0), 4)), colour)
